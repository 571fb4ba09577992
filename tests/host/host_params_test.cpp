// Host parameters: where records sit in the host's list, each kind's
// definition field by field, values read and written through the host with
// every checkout given back, and the two commands that keep a string
// choice's text and popup in step.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>

#include "host/ae/param_index.h"
#include "support/application.h"
#include "test_effects.h"

using HostTests::behaviour;
using HostTests::KindsEffect;
using TestSupport::Application;
using namespace OZ::Host::Param;

namespace {

std::string textOf(StandIn::StandInHost& host, PF_Handle handle) {
  if (!handle) return "(null)";
  return std::string(static_cast<const char*>(*handle), std::size_t(host.handleSize(handle)));
}

// An applied KindsEffect, and the effect once more in process, attached to
// the same host the way a command would attach it, with its own store.
struct KindsFixture {
  explicit KindsFixture(const StandIn::Settings& settings = {}) : app(HostTests::entryOf<KindsEffect>, settings) {
    behaviour() = {};
    KindsEffect::changedRecords.clear();
    EXPECT_EQ(app.effect.apply(), PF_Err_NONE);
    attach(nullptr);
  }
  ~KindsFixture() { behaviour() = {}; }
  void attach(PF_ParamDef** params) {
    store.reset();
    effect = std::make_unique<KindsEffect>();
    effect->attach(app.host.inData(), app.host.outData(), params, nullptr, nullptr);
    store.reset(effect->makeParameters());
    effect->defineParameters(*store);
  }
  const PF_ParamDef& def(PF_ParamIndex index) { return app.effect.params.at(index).definition; }

  Application app;
  std::unique_ptr<KindsEffect> effect;
  std::unique_ptr<Parameters> store;
};

}  // namespace

TEST(HostIndex, RecordsTakeTheirIndexesFromTheRecordsBefore) {
  Parameters store;
  auto add = [&](std::uint32_t kind, std::uint32_t flags = 0) {
    ParamRecord record;
    record.kind = kind;
    record.flags = flags;
    store.records.push_back(record);
  };
  add(kFloat);                // 1
  add(kNone);                 // takes none
  add(kStringChoice);         // 2 and 3
  add(kReserved, kSupervise); // 4, with no definition
  add(99);                    // 5: an unknown kind still counts
  add(kBool);                 // 6
  using OZ::Host::AE::hostIndexOf;
  using OZ::Host::AE::recordAtHostIndex;
  const PF_ParamIndex expected[] = {1, 2, 2, 4, 5, 6, 7, 8};
  for (std::size_t position = 0; position < std::size(expected); ++position)
    EXPECT_EQ(hostIndexOf(store, position), expected[position]) << position;
  EXPECT_EQ(recordAtHostIndex(store, -3), 0u);
  EXPECT_EQ(recordAtHostIndex(store, 1), 0u);
  EXPECT_EQ(recordAtHostIndex(store, 2), 2u) << "the string choice's text";
  EXPECT_EQ(recordAtHostIndex(store, 3), 2u) << "the string choice's popup";
  EXPECT_EQ(recordAtHostIndex(store, 6), 5u);
  EXPECT_EQ(recordAtHostIndex(store, 9), 8u) << "past the last record, one position per index";
}

TEST(HostParamDefinitions, EachKindIsDefinedFieldByField) {
  KindsFixture f;
  ASSERT_EQ(f.app.effect.params.count(), 15u);
  EXPECT_EQ(f.app.host.outData()->num_params, 15);
  EXPECT_TRUE(f.app.host.violations().empty()) << f.app.host.violations().front();

  const PF_ParamDef& count = f.def(1);
  EXPECT_EQ(count.param_type, PF_Param_SLIDER);
  EXPECT_STREQ(count.name, "Count");
  EXPECT_EQ(count.uu.id, 1);
  EXPECT_EQ(count.flags, PF_ParamFlag_CANNOT_INTERP | PF_ParamFlag_USE_VALUE_FOR_OLD_PROJECTS);
  EXPECT_EQ(count.u.sd.value, 7) << "old projects get the record's own value";
  EXPECT_EQ(count.u.sd.dephault, 5);
  EXPECT_EQ(count.u.sd.valid_min, -10);
  EXPECT_EQ(count.u.sd.valid_max, 10);
  EXPECT_EQ(count.u.sd.slider_min, 0);
  EXPECT_EQ(count.u.sd.slider_max, 8);

  const PF_ParamDef& level = f.def(2);
  EXPECT_EQ(level.param_type, PF_Param_FLOAT_SLIDER);
  EXPECT_EQ(level.flags, PF_ParamFlag_SUPERVISE);
  EXPECT_EQ(level.u.fs_d.value, 0.10000000149011612) << "the default through 32 bits";
  EXPECT_EQ(level.u.fs_d.dephault, 0.1f);
  EXPECT_EQ(level.u.fs_d.precision, PF_Precision_TENTHS);
  EXPECT_EQ(level.u.fs_d.display_flags, PF_ValueDisplayFlag_PERCENT);

  const PF_ParamDef& turn = f.def(3);
  EXPECT_EQ(turn.param_type, PF_Param_ANGLE);
  EXPECT_EQ(turn.ui_flags, PF_PUI_INVISIBLE | PF_PUI_NO_ECW_UI);
  EXPECT_EQ(turn.u.ad.value, 2981888);
  EXPECT_EQ(turn.u.ad.dephault, 2981888);

  EXPECT_EQ(f.def(4).param_type, PF_Param_CHECKBOX);
  EXPECT_STREQ(f.def(4).name, "");
  EXPECT_EQ(f.app.effect.params.at(4).label, "Flip");
  EXPECT_EQ(f.def(4).u.bd.value, 1);
  EXPECT_EQ(f.def(4).u.bd.dephault, 1);

  const PF_ParamDef& caption = f.def(5);
  EXPECT_EQ(caption.param_type, PF_Param_ARBITRARY_DATA);
  EXPECT_STREQ(caption.name, "Caption");
  EXPECT_EQ(caption.flags, 0) << "no interpolation or supervision of text";
  EXPECT_EQ(caption.ui_flags, PF_PUI_NO_ECW_UI);
  EXPECT_EQ(caption.u.arb_d.id, 5);
  EXPECT_EQ(caption.u.arb_d.pad, 0);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(caption.u.arb_d.refconPV), 5u | 0x1000u);
  EXPECT_EQ(textOf(f.app.host, caption.u.arb_d.dephault), std::string("hello", 6));
  EXPECT_EQ(textOf(f.app.host, caption.u.arb_d.value), std::string("hello", 6)) << "made from the default";

  const PF_ParamDef& mode = f.def(6);
  EXPECT_EQ(mode.param_type, PF_Param_POPUP);
  EXPECT_EQ(mode.u.pd.value, 3);
  EXPECT_EQ(mode.u.pd.dephault, 3) << "a 0-based default of 2";
  EXPECT_EQ(mode.u.pd.num_choices, 3);
  EXPECT_EQ(f.app.effect.params.at(6).label, "Soft|Hard|Odd");

  const PF_ParamDef& lookText = f.def(7);
  EXPECT_EQ(lookText.param_type, PF_Param_ARBITRARY_DATA);
  EXPECT_STREQ(lookText.name, "Look String");
  EXPECT_EQ(lookText.ui_flags, PF_PUI_NO_ECW_UI);
  EXPECT_EQ(lookText.uu.id, 7);
  EXPECT_EQ(textOf(f.app.host, lookText.u.arb_d.dephault), std::string("Cold", 5));
  const PF_ParamDef& lookPopup = f.def(8);
  EXPECT_EQ(lookPopup.param_type, PF_Param_POPUP);
  EXPECT_STREQ(lookPopup.name, "Look");
  EXPECT_EQ(lookPopup.flags, 70);
  EXPECT_EQ(lookPopup.ui_flags, PF_PUI_STD_CONTROL_ONLY);
  EXPECT_EQ(lookPopup.uu.id, 7 | 0x8000);
  EXPECT_EQ(lookPopup.u.pd.dephault, 2);
  EXPECT_EQ(lookPopup.u.pd.value, 1) << "a text not among the labels shows the first";
  EXPECT_EQ(f.app.effect.params.at(8).label, "Warm|Cold");

  const PF_ParamDef& tint = f.def(9);
  EXPECT_EQ(tint.param_type, PF_Param_COLOR);
  EXPECT_EQ(tint.uu.id, 8);
  EXPECT_EQ(tint.ui_flags, PF_PUI_CONTROL);
  EXPECT_EQ(tint.ui_width, 120);
  EXPECT_EQ(tint.ui_height, 24);
  for (const PF_Pixel& pixel : {tint.u.cd.value, tint.u.cd.dephault}) {
    EXPECT_EQ(pixel.alpha, 255);
    EXPECT_EQ(pixel.red, 255);
    EXPECT_EQ(pixel.green, 127);
    EXPECT_EQ(pixel.blue, 63);
  }

  const PF_ParamDef& centre = f.def(10);
  EXPECT_EQ(centre.param_type, PF_Param_POINT);
  EXPECT_EQ(centre.flags, PF_ParamFlag_USE_VALUE_FOR_OLD_PROJECTS);
  EXPECT_EQ(centre.u.td.x_dephault, 50 << 16);
  EXPECT_EQ(centre.u.td.y_dephault, 25 << 16) << "whole percent for the default";
  EXPECT_EQ(centre.u.td.x_value, 4915200);
  EXPECT_EQ(centre.u.td.y_value, 819200);
  EXPECT_EQ(centre.u.td.restrict_bounds, 1);

  EXPECT_EQ(f.def(11).param_type, PF_Param_GROUP_START);
  EXPECT_STREQ(f.def(11).name, "Group");
  EXPECT_EQ(f.def(11).flags, PF_ParamFlag_COLLAPSE_TWIRLY);
  EXPECT_EQ(f.def(12).param_type, PF_Param_GROUP_END);
  EXPECT_STREQ(f.def(12).name, "");
  EXPECT_EQ(f.def(12).uu.id, 12) << "the kNone record before took an id of its own";
  EXPECT_EQ(f.def(13).param_type, PF_Param_LAYER);
  EXPECT_EQ(f.def(13).u.ld.dephault, PF_LayerDefault_MYSELF);
  EXPECT_EQ(f.def(14).param_type, PF_Param_PATH);
  EXPECT_EQ(f.def(14).u.path_d.dephault, 0);
}

TEST(HostParamDefinitions, RefusalsEndSetupExceptForAPath) {
  for (int refused : {1, 5, 8, 13}) {
    Application app(HostTests::entryOf<KindsEffect>);
    app.host.faults.refuseAddParam = refused;
    app.host.faults.addParamError = 1999;
    EXPECT_EQ(app.effect.paramsSetup(), 1999) << refused;
    EXPECT_EQ(app.host.outData()->num_params, 0);
    EXPECT_TRUE(app.leftNothing()) << "a refused default text is not left behind";
  }
  Application pathless(HostTests::entryOf<KindsEffect>);
  pathless.host.faults.refuseAddParam = 14;
  EXPECT_EQ(pathless.effect.paramsSetup(), PF_Err_NONE);
  EXPECT_EQ(pathless.host.outData()->num_params, 14) << "the path is simply not there";
  EXPECT_TRUE(pathless.host.violations().empty());

  Application textless(HostTests::entryOf<KindsEffect>);
  textless.host.faults.refuseHandle = 1;  // the caption's default text
  EXPECT_EQ(textless.effect.paramsSetup(), PF_Err_OUT_OF_MEMORY);
  EXPECT_EQ(textless.host.outData()->num_params, 0);
}

TEST(HostParamValues, ReadsCheckOutAndGiveBackEveryDefinition) {
  KindsFixture f;
  Parameters& store = *f.store;
  EXPECT_EQ(store.getInt(KindsEffect::kIntAt), 7);
  EXPECT_EQ(store.getFloat(KindsEffect::kFloatAt), 0.10000000149011612);
  EXPECT_EQ(store.getFloat(KindsEffect::kAngleAt), 45.5);
  EXPECT_EQ(f.app.host.suiteFunctionCalls("PF_GetFloatingPointValueFromAngleDef"), 1);
  EXPECT_TRUE(store.getBool(KindsEffect::kBoolAt));
  EXPECT_EQ(store.getString(KindsEffect::kStringAt), "hello");
  EXPECT_EQ(store.getInt(KindsEffect::kChoiceAt), 2);
  EXPECT_EQ(store.getString(KindsEffect::kStringChoiceAt), "Cold");
  const ParamColor tint = store.getColor(KindsEffect::kColorAt);
  EXPECT_EQ(tint.red, 1.0);
  EXPECT_EQ(tint.green, double(127 / 255.0f));
  EXPECT_EQ(f.app.host.suiteFunctionCalls("PF_GetFloatingPointColorFromColorDef"), 1);
  EXPECT_EQ(store.getPoint(KindsEffect::kPointAt), (ParamPoint{75.0, 12.5}));
  EXPECT_EQ(store.getRaw(KindsEffect::kIntAt), 7u);

  // At a time counted in steps.
  f.app.host.setTime(0, 10, 100);
  f.app.effect.params.keyframe(2, 0).u.fs_d.value = 0.25;
  f.app.effect.params.keyframe(2, 40).u.fs_d.value = 0.75;
  EXPECT_EQ(store.getFloatAt(KindsEffect::kFloatAt, 4.0), 0.75);
  EXPECT_EQ(store.getFloat(KindsEffect::kFloatAt), 0.25);
  EXPECT_EQ(f.app.effect.params.checkoutTimes().back(), 0);
  EXPECT_EQ(store.getFloatAt(KindsEffect::kFloatAt, 3.9), 0.25) << "39 is before the second keyframe";

  EXPECT_EQ(f.app.effect.params.outstanding(), 0u);
  EXPECT_EQ(f.app.effect.params.checkouts(), f.app.effect.params.checkins());
  EXPECT_TRUE(f.app.host.violations().empty());
}

TEST(HostParamValues, FallbacksWithoutTheParameterSuites) {
  StandIn::Settings bare;
  bare.angleParamSuite = false;
  bare.colorParamSuite = false;
  KindsFixture f(bare);
  EXPECT_EQ(f.store->getFloat(KindsEffect::kAngleAt), 2981888 / 65536.0);
  EXPECT_EQ(f.store->getColor(KindsEffect::kColorAt).green, 127 / 255.0);
  EXPECT_EQ(f.app.host.suiteFunctionCalls("PF_GetFloatingPointColorFromColorDef"), 0);
}

TEST(HostParamValues, WritesReachTheHostUnclampedAndMarkedChanged) {
  KindsFixture f;
  Parameters& store = *f.store;
  f.app.host.inData()->downsample_x = {1, 2};
  store.setFloat(KindsEffect::kFloatAt, 5.0);
  EXPECT_EQ(f.def(2).u.fs_d.value, 5.0) << "no clamp to 2";
  store.setFloat(KindsEffect::kAngleAt, -10.25);
  EXPECT_EQ(f.def(3).u.ad.value, -671744);
  store.setInt(0, KindsEffect::kChoiceAt);
  EXPECT_EQ(f.def(6).u.pd.value, 1);
  store.setBool(false, KindsEffect::kBoolAt);
  EXPECT_EQ(f.def(4).u.bd.value, 0);
  store.setColor({0.5, 1.0, 0.0}, KindsEffect::kColorAt);
  EXPECT_EQ(f.def(9).u.cd.value.red, 127);
  EXPECT_EQ(f.def(9).u.cd.value.alpha, 255) << "alpha stays";
  store.setPoint({10.0, 3.0}, KindsEffect::kPointAt);
  EXPECT_EQ(f.def(10).u.td.x_value, 20 << 16) << "divided by the downsample";
  EXPECT_EQ(f.def(10).u.td.y_value, 3 << 16);
  EXPECT_EQ(store.getPoint(KindsEffect::kPointAt).x, 20.0) << "reads do not multiply back";
  store.setString("a longer caption", KindsEffect::kStringAt);
  EXPECT_EQ(f.app.effect.params.textOf(5), "a longer caption");
  store.setRaw(99, KindsEffect::kIntAt);
  EXPECT_EQ(f.def(1).u.sd.value, 7) << "a raw write does not mark the value changed";
  store.setFloatAt(KindsEffect::kFloatAt, 2.0, 1.25);
  EXPECT_EQ(f.app.effect.params.checkoutTimes().back(), 2);
  EXPECT_EQ(f.app.effect.params.outstanding(), 0u);
  EXPECT_TRUE(f.app.host.violations().empty());
  EXPECT_EQ(f.app.host.liveHandles(), 0u);
}

TEST(HostParamValues, WithAParameterArrayEverythingHappensInPlace) {
  KindsFixture f;
  std::vector<PF_ParamDef> defs;
  for (std::size_t i = 0; i < f.app.effect.params.count(); ++i) defs.push_back(f.app.effect.params.valueAt(PF_ParamIndex(i), 0));
  std::vector<PF_ParamDef*> array;
  for (PF_ParamDef& def : defs) array.push_back(&def);
  array.push_back(nullptr);
  f.attach(array.data());
  const std::size_t before = f.app.effect.params.checkouts();
  EXPECT_EQ(f.store->getInt(KindsEffect::kIntAt), 7);
  f.store->setFloat(KindsEffect::kFloatAt, 0.5);
  EXPECT_EQ(defs[2].u.fs_d.value, 0.5);
  EXPECT_TRUE(defs[2].uu.change_flags & PF_ChangeFlag_CHANGED_VALUE);
  EXPECT_EQ(f.app.effect.params.checkouts(), before);
}

TEST(HostParamValues, EnablingGoesThroughTheParamUtilities) {
  KindsFixture f;
  f.store->setEnabled(false, KindsEffect::kFloatAt);
  f.store->setEnabled(true, KindsEffect::kFloatAt);
  const auto updates = f.app.host.uiUpdates();
  ASSERT_EQ(updates.size(), 2u);
  EXPECT_EQ(updates[0].first, 2);
  EXPECT_TRUE(updates[0].second.ui_flags & PF_PUI_DISABLED);
  EXPECT_FALSE(updates[1].second.ui_flags & PF_PUI_DISABLED);
  EXPECT_TRUE(updates[1].second.flags & PF_ParamFlag_COLLAPSE_TWIRLY) << "set in both directions";
  EXPECT_EQ(f.app.effect.params.outstanding(), 0u);

  StandIn::Settings bare;
  bare.paramUtilsSuite = false;
  KindsFixture without(bare);
  without.store->setEnabled(false, KindsEffect::kFloatAt);
  EXPECT_TRUE(without.app.host.uiUpdates().empty());
  EXPECT_EQ(without.app.effect.params.outstanding(), 0u);
}

TEST(HostParamCommands, APopupChoiceBecomesTheText) {
  KindsFixture f;
  f.app.effect.params.setInt(8, 1);  // the user picks "Warm"
  EXPECT_EQ(f.app.effect.userChangedParam(8), PF_Err_NONE);
  EXPECT_EQ(f.app.effect.params.textOf(7), "Warm");
  f.app.effect.params.setInt(8, 5);  // past the labels
  EXPECT_EQ(f.app.effect.userChangedParam(7), PF_Err_NONE);
  EXPECT_EQ(f.app.effect.params.textOf(7), "");
  EXPECT_EQ(f.app.effect.userChangedParam(2), PF_Err_NONE);
  EXPECT_EQ(KindsEffect::changedRecords, (std::vector<std::int32_t>{6, 6, 1}));
  EXPECT_EQ(f.app.host.liveHandles(), 0u);

  behaviour().wantsUiUpdates = false;
  EXPECT_EQ(f.app.effect.userChangedParam(8), PF_Err_NONE);
  EXPECT_EQ(KindsEffect::changedRecords.size(), 3u) << "an effect that wants no updates hears nothing";
}

TEST(HostParamCommands, TheTextSetsThePopup) {
  KindsFixture f;
  EXPECT_EQ(f.app.effect.updateParamsUI(), PF_Err_NONE);
  const auto updates = f.app.host.uiUpdates();
  ASSERT_EQ(updates.size(), 1u);
  EXPECT_EQ(updates[0].first, 8);
  EXPECT_EQ(updates[0].second.u.pd.value, 2) << "\"Cold\" is the second label";
  EXPECT_EQ(KindsEffect::changedRecords, (std::vector<std::int32_t>{-1}));

  StandIn::Settings bare;
  bare.paramUtilsSuite = false;
  KindsFixture without(bare);
  EXPECT_EQ(without.def(8).u.pd.value, 1);
  EXPECT_EQ(without.app.effect.updateParamsUI(), PF_Err_NONE);
  EXPECT_EQ(without.def(8).u.pd.value, 2) << "written into the parameter array, marked changed";
}
