// The arbitrary-data protocol of a string parameter: every selector on a
// null and on a real handle, the flat form, and the refusals.

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "support/application.h"
#include "test_effects.h"

using HostTests::KindsEffect;
using TestSupport::Application;

namespace {

constexpr PF_ParamIndex kCaption = 5;

struct ArbitraryFixture {
  ArbitraryFixture() : app(HostTests::entryOf<KindsEffect>) { EXPECT_EQ(app.effect.apply(), PF_Err_NONE); }
  ~ArbitraryFixture() { EXPECT_EQ(app.host.liveHandles(), 0u) << "a test left a handle behind"; }

  PF_Err run(PF_FunctionSelector selector, PF_ArbParamsExtra& call) {
    call.which_function = selector;
    return app.effect.arbitrary(kCaption, call);
  }
  PF_Handle handleWith(const std::string& bytes) {
    PF_Handle handle = app.host.allocateHandle(bytes.size());
    std::memcpy(*handle, bytes.data(), bytes.size());
    return handle;
  }
  std::string bytesOf(PF_Handle handle) {
    return std::string(static_cast<const char*>(*handle), std::size_t(app.host.handleSize(handle)));
  }
  void drop(PF_Handle handle) { app.host.disposeHandle(handle); }

  Application app;
};

}  // namespace

TEST(ArbitraryData, NewDisposeAndCopy) {
  ArbitraryFixture f;
  PF_ArbParamsExtra call{};
  PF_Handle made = nullptr;
  call.u.new_func_params.arbPH = &made;
  EXPECT_EQ(f.run(PF_Arbitrary_NEW_FUNC, call), PF_Err_NONE);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(f.app.host.handleSize(made), 0u) << "never written: no bytes at all";
  call = {};
  call.u.dispose_func_params.arbH = made;
  EXPECT_EQ(f.run(PF_Arbitrary_DISPOSE_FUNC, call), PF_Err_NONE);

  call = {};
  call.u.copy_func_params.dst_arbPH = &made;
  EXPECT_EQ(f.run(PF_Arbitrary_COPY_FUNC, call), PF_Err_NONE);
  EXPECT_EQ(f.bytesOf(made), std::string(1, '\0')) << "a copy of nothing is the empty string";
  f.drop(made);
  PF_Handle source = f.handleWith(std::string("text\0", 5));
  call.u.copy_func_params.src_arbH = source;
  EXPECT_EQ(f.run(PF_Arbitrary_COPY_FUNC, call), PF_Err_NONE);
  EXPECT_NE(made, source);
  EXPECT_EQ(f.bytesOf(made), std::string("text\0", 5));
  f.drop(made);

  made = nullptr;
  f.app.host.faults.refuseLock = true;
  EXPECT_EQ(f.run(PF_Arbitrary_COPY_FUNC, call), PF_Err_UNRECOGNIZED_PARAM_TYPE);
  EXPECT_EQ(made, nullptr);
  f.app.host.faults.refuseLock = false;
  f.app.host.faults.refuseHandle = f.app.host.handleRequests() + 1;
  EXPECT_EQ(f.run(PF_Arbitrary_COPY_FUNC, call), PF_Err_OUT_OF_MEMORY);
  call.u.new_func_params.arbPH = &made;
  f.app.host.faults.refuseHandle = f.app.host.handleRequests() + 1;
  EXPECT_EQ(f.run(PF_Arbitrary_NEW_FUNC, call), PF_Err_OUT_OF_MEMORY);
  f.drop(source);
}

TEST(ArbitraryData, TheFlatFormIsTheHandlesBytes) {
  ArbitraryFixture f;
  PF_Handle text = f.handleWith(std::string("hello\0", 6));
  PF_ArbParamsExtra call{};
  A_u_long size = 99;
  call.u.flat_size_func_params.arbH = text;
  call.u.flat_size_func_params.flat_data_sizePLu = &size;
  EXPECT_EQ(f.run(PF_Arbitrary_FLAT_SIZE_FUNC, call), PF_Err_NONE);
  EXPECT_EQ(size, 6u) << "no header, no length: the text and its zero";

  char flat[10];
  std::memset(flat, '#', sizeof flat);
  call = {};
  call.u.flatten_func_params.arbH = text;
  call.u.flatten_func_params.buf_sizeLu = 4;
  call.u.flatten_func_params.flat_dataPV = flat;
  EXPECT_EQ(f.run(PF_Arbitrary_FLATTEN_FUNC, call), PF_Err_NONE);
  EXPECT_EQ(std::string(flat, 5), "hell#");

  PF_Handle back = nullptr;
  call = {};
  call.u.unflatten_func_params.buf_sizeLu = 3;
  call.u.unflatten_func_params.flat_dataPV = "abc";
  call.u.unflatten_func_params.arbPH = &back;
  EXPECT_EQ(f.run(PF_Arbitrary_UNFLATTEN_FUNC, call), PF_Err_NONE);
  EXPECT_EQ(f.bytesOf(back), "abc");
  f.drop(back);
  f.drop(text);
}

TEST(ArbitraryData, TextDoesNotInterpolateAndComparesByBytes) {
  ArbitraryFixture f;
  PF_Handle left = f.handleWith(std::string("abc\0", 4)), right = f.handleWith(std::string("abd\0", 4));
  PF_Handle shorter = f.handleWith(std::string("ab\0", 3));
  PF_ArbParamsExtra call{};
  PF_Handle between = reinterpret_cast<PF_Handle>(0x1);  // must stay untouched when there is no left
  call.u.interp_func_params.right_arbH = right;
  call.u.interp_func_params.tF = 0.9;
  call.u.interp_func_params.interpPH = &between;
  EXPECT_EQ(f.run(PF_Arbitrary_INTERP_FUNC, call), PF_Err_NONE);
  EXPECT_EQ(between, reinterpret_cast<PF_Handle>(0x1));
  call.u.interp_func_params.left_arbH = left;
  EXPECT_EQ(f.run(PF_Arbitrary_INTERP_FUNC, call), PF_Err_NONE);
  EXPECT_EQ(f.bytesOf(between), f.bytesOf(left)) << "the left keyframe holds";
  f.drop(between);

  auto compare = [&](PF_Handle a, PF_Handle b) {
    PF_ArbCompareResult order = -1;
    PF_ArbParamsExtra comparison{};
    comparison.u.compare_func_params.a_arbH = a;
    comparison.u.compare_func_params.b_arbH = b;
    comparison.u.compare_func_params.compareP = &order;
    EXPECT_EQ(f.run(PF_Arbitrary_COMPARE_FUNC, comparison), PF_Err_NONE);
    return order;
  };
  EXPECT_EQ(compare(left, right), PF_ArbCompare_LESS);
  EXPECT_EQ(compare(right, left), PF_ArbCompare_MORE);
  EXPECT_EQ(compare(left, left), PF_ArbCompare_EQUAL);
  EXPECT_EQ(compare(shorter, left), PF_ArbCompare_LESS);
  EXPECT_EQ(compare(nullptr, left), PF_ArbCompare_EQUAL);
  f.drop(left);
  f.drop(right);
  f.drop(shorter);
}

TEST(ArbitraryData, PrintAndScan) {
  ArbitraryFixture f;
  PF_Handle text = f.handleWith(std::string("hello\0", 6));
  PF_ArbParamsExtra call{};
  A_u_long size = 0;
  call.u.print_size_func_params.print_sizePLu = &size;
  EXPECT_EQ(f.run(PF_Arbitrary_PRINT_SIZE_FUNC, call), PF_Err_NONE);
  EXPECT_EQ(size, 1u);
  call.u.print_size_func_params.arbH = text;
  EXPECT_EQ(f.run(PF_Arbitrary_PRINT_SIZE_FUNC, call), PF_Err_NONE);
  EXPECT_EQ(size, 7u);

  char printed[4];
  std::memset(printed, '#', sizeof printed);
  call = {};
  call.u.print_func_params.print_sizeLu = sizeof printed;
  call.u.print_func_params.print_bufferPC = printed;
  EXPECT_EQ(f.run(PF_Arbitrary_PRINT_FUNC, call), PF_Err_NONE);
  EXPECT_EQ(std::string(printed, 4), std::string(4, '\0'));
  call.u.print_func_params.arbH = text;
  EXPECT_EQ(f.run(PF_Arbitrary_PRINT_FUNC, call), PF_Err_NONE);
  EXPECT_EQ(std::string(printed, 4), std::string("hel\0", 4));

  PF_Handle scanned = nullptr;
  call = {};
  call.u.scan_func_params.bufPC = "xyz";
  call.u.scan_func_params.bytes_to_scanLu = 2;
  call.u.scan_func_params.arbPH = &scanned;
  EXPECT_EQ(f.run(PF_Arbitrary_SCAN_FUNC, call), PF_Err_NONE);
  EXPECT_EQ(f.bytesOf(scanned), "xy") << "scanned bytes stand as they came, with no zero";
  f.drop(scanned);
  f.drop(text);
}

TEST(ArbitraryData, SomeoneElsesParameterOrAnUnknownSelector) {
  ArbitraryFixture f;
  PF_ArbParamsExtra call{};
  PF_Handle made = nullptr;
  call.which_function = PF_Arbitrary_NEW_FUNC;
  call.u.new_func_params.arbPH = &made;
  call.u.new_func_params.refconPV = reinterpret_cast<void*>(std::uintptr_t(0x2005));
  EXPECT_EQ(f.app.effect.call(PF_Cmd_ARBITRARY_CALLBACK, nullptr, nullptr, &call), PF_Err_UNRECOGNIZED_PARAM_TYPE);
  EXPECT_EQ(made, nullptr);
  call.which_function = PF_Arbitrary_SCAN_FUNC + 1;
  EXPECT_EQ(f.app.effect.call(PF_Cmd_ARBITRARY_CALLBACK, nullptr, nullptr, &call), PF_Err_NONE);
}
