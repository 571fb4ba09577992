// The one exception boundary: whatever an operation throws becomes the
// host's result, with the message the host shows, and nothing leaks.

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>

#include "image/exception.h"
#include "support/application.h"
#include "test_effects.h"

using HostTests::behaviour;
using HostTests::GlowEffect;
using OZ::Image::formatCode;
using TestSupport::Application;

namespace {

struct Outcome {
  PF_Err result;
  std::string message;
  bool flagged;
};

Outcome aboutThrowing(const std::function<void()>& thrower) {
  behaviour() = {};
  behaviour().inAbout = thrower;
  Application app(HostTests::entryOf<GlowEffect>);
  const PF_Err result = app.effect.about();
  behaviour() = {};
  return {result, app.effect.message(), (app.host.outData()->out_flags & PF_OutFlag_DISPLAY_ERROR_MESSAGE) != 0};
}

}  // namespace

TEST(ExceptionBoundary, EachKindOfExceptionBecomesItsResultAndMessage) {
  const Outcome hostError = aboutThrowing([] { throw OZ::Host::AE::Host::Error(1234); });
  EXPECT_EQ(hostError.result, 1234);
  EXPECT_FALSE(hostError.flagged) << "the host's own code carries no message";

  const Outcome memory = aboutThrowing([] { throw std::bad_alloc(); });
  EXPECT_EQ(memory.result, PF_Err_OUT_OF_MEMORY);
  EXPECT_EQ(memory.message, "Out of memory!");
  EXPECT_TRUE(memory.flagged);

  const Outcome text = aboutThrowing([] { throw std::string("a thrown text"); });
  EXPECT_EQ(text.result, PF_Err_INTERNAL_STRUCT_DAMAGED);
  EXPECT_EQ(text.message, "a thrown text");

  const Outcome standard = aboutThrowing([] { throw OZ::Exception("Title", "what went wrong"); });
  EXPECT_EQ(standard.result, PF_Err_INTERNAL_STRUCT_DAMAGED);
  EXPECT_EQ(standard.message, "Title: what went wrong");

  for (const auto& thrower : {std::function<void()>([] { throw int(PF_Err_BAD_CALLBACK_PARAM); }),
                              std::function<void()>([] { throw OZ::Interrupted(); })}) {
    const Outcome unknown = aboutThrowing(thrower);
    EXPECT_EQ(unknown.result, PF_Err_INTERNAL_STRUCT_DAMAGED);
    EXPECT_EQ(unknown.message, "Unknown internal error");
  }
}

TEST(ExceptionBoundary, ALongMessageIsCutToTheHostsBuffer) {
  const std::string longText(300, 'x');
  const Outcome cut = aboutThrowing([&] { throw std::runtime_error(longText); });
  EXPECT_EQ(cut.result, PF_Err_INTERNAL_STRUCT_DAMAGED);
  EXPECT_EQ(cut.message, std::string(255, 'x'));
}

TEST(ExceptionBoundary, FailuresInARenderComeBackWithEveryCheckoutIn) {
  struct Case {
    const char* name;
    std::function<void(HostTests::Host&)> thrower;
    PF_Err result;
  };
  const Case cases[] = {
      {"host error", [](HostTests::Host&) { throw OZ::Host::AE::Host::Error(777); }, 777},
      {"memory", [](HostTests::Host&) { throw std::bad_alloc(); }, PF_Err_OUT_OF_MEMORY},
      {"latched abort",
       [](HostTests::Host& host) {
         host.abortCode = PF_Interrupt_CANCEL;
         throw OZ::Interrupted();
       },
       PF_Interrupt_CANCEL},
      {"the user stopped", [](HostTests::Host& host) { host.checkAbort(0); }, PF_Interrupt_CANCEL},
  };
  for (const Case& failure : cases) {
    behaviour() = {};
    behaviour().inRender = failure.thrower;
    Application app(HostTests::entryOf<GlowEffect>);
    app.host.faults.abortOnCall = 1;
    ASSERT_EQ(app.effect.apply(), PF_Err_NONE);
    const StandIn::SmartFrame frame = app.effect.renderFrame(app.layer(8, 8, formatCode("argb")), 0);
    EXPECT_EQ(frame.result(), failure.result) << failure.name;
    EXPECT_EQ(app.effect.params.checkouts(), app.effect.params.checkins()) << failure.name;
    EXPECT_TRUE(app.host.violations().empty()) << failure.name;
    EXPECT_TRUE(app.leftNothing()) << failure.name;
  }
  behaviour() = {};
}
