#pragma once
// The larger of the adapter's two ways of holding suites: every suite of
// the host that an effect might want, fetched the first time it is asked
// for and given back when the table goes. Unlike the nine suites a Host
// holds, a suite missing here is an error: its accessor throws a plain int
// holding PF_Err_BAD_CALLBACK_PARAM, which the dispatch reports as an
// unknown internal error.

#include <array>
#include <cstddef>
#include <cstdint>

#include "host/ae/ae_interface.h"

namespace OZ::Host::AE {

// Every row: accessor name, suite name, version. A suite's versions stand
// in the order they are released.
#define OZ_AE_ON_DEMAND_SUITES(X) \
  X(aegpMarkerSuite1, "AEGP Marker Suite", 1) \
  X(aegpMarkerSuite2, "AEGP Marker Suite", 2) \
  X(aegpLayerSuite8, "AEGP Layer Suite", 8) \
  X(aegpLayerSuite10, "AEGP Layer Suite", 10) \
  X(aegpLayerSuite11, "AEGP Layer Suite", 11) \
  X(aegpLayerSuite12, "AEGP Layer Suite", 12) \
  X(aegpLayerSuite13, "AEGP Layer Suite", 13) \
  X(aegpLayerSuite14, "AEGP Layer Suite", 14) \
  X(aegpLayerSuite5, "AEGP Layer Suite", 5) \
  X(aegpStreamSuite9, "AEGP Stream Suite", 9) \
  X(aegpStreamSuite8, "AEGP Stream Suite", 8) \
  X(aegpStreamSuite7, "AEGP Stream Suite", 7) \
  X(aegpStreamSuite4, "AEGP Stream Suite", 4) \
  X(aegpDynamicStreamSuite2, "AEGP Dynamic Stream Suite", 2) \
  X(aegpDynamicStreamSuite3, "AEGP Dynamic Stream Suite", 3) \
  X(aegpDynamicStreamSuite5, "AEGP Dynamic Stream Suite", 5) \
  X(aegpKeyframeSuite4, "AEGP Keyframe Suite", 4) \
  X(aegpKeyframeSuite3, "AEGP Keyframe Suite", 3) \
  X(aegpKeyframeSuite1, "AEGP Keyframe Suite", 1) \
  X(aegpCompSuite9, "AEGP Comp Suite", 9) \
  X(aegpCompSuite11, "AEGP Comp Suite", 11) \
  X(aegpCompSuite14, "AEGP Comp Suite", 14) \
  X(aegpCompSuite15, "AEGP Comp Suite", 15) \
  X(aegpCompSuite18, "AEGP Comp Suite", 18) \
  X(aegpCompSuite19, "AEGP Comp Suite", 19) \
  X(aegpCompSuite21, "AEGP Comp Suite", 21) \
  X(aegpCompSuite4, "AEGP Comp Suite", 4) \
  X(aegpCanvasSuite10, "AEGP Canvas Suite", 10) \
  X(aegpCanvasSuite11, "AEGP Canvas Suite", 11) \
  X(aegpCanvasSuite13, "AEGP Canvas Suite", 13) \
  X(aegpCanvasSuite14, "AEGP Canvas Suite", 14) \
  X(aegpCameraSuite2, "AEGP Camera Suite", 2) \
  X(aegpRegisterSuite6, "AEGP Register Suite", 6) \
  X(aegpItemSuite13, "AEGP Item Suite", 13) \
  X(aegpItemSuite11, "AEGP Item Suite", 11) \
  X(aegpItemSuite10, "AEGP Item Suite", 10) \
  X(aegpItemSuite7, "AEGP Item Suite", 7) \
  X(aegpItemSuite3, "AEGP Item Suite", 3) \
  X(aegpPFInterfaceSuite1, "AEGP PF Interface Suite", 1) \
  X(pfPathQuerySuite1, "PF Path Query Suite", 1) \
  X(aegpMemorySuite1, "AEGP Memory Suite", 1) \
  X(pfPathDataSuite1, "PF Path Data Suite", 1) \
  X(pfParamUtilsSuite3, "PF Param Utils Suite", 3) \
  X(pfAppSuite6, "PF AE App Suite", 6) \
  X(pfAppSuite7, "PF AE App Suite", 7) \
  X(pfAdvAppSuite2, "PF AE Adv App Suite", 2) \
  X(pfAdvAppSuite1, "PF AE Adv App Suite", 1) \
  X(aegpLightSuite1, "AEGP Light Suite", 1) \
  X(aegpLightSuite2, "AEGP Light Suite", 2) \
  X(aegpEffectSuite1, "AEGP Effect Suite", 1) \
  X(aegpEffectSuite2, "AEGP Effect Suite", 2) \
  X(aegpEffectSuite3, "AEGP Effect Suite", 3) \
  X(aegpEffectSuite4, "AEGP Effect Suite", 4) \
  X(aegpLayerMaskSuite5, "AEGP Layer Mask Suite", 5) \
  X(aegpLayerMaskSuite2, "AEGP Layer Mask Suite", 2) \
  X(aegpLayerMaskSuite6, "AEGP Layer Mask Suite", 6) \
  X(aegpLayerMaskSuite7, "AEGP Layer Mask Suite", 7) \
  X(aegpMaskOutlineSuite2, "AEGP Mask Outline Suite", 2) \
  X(aegpMaskOutlineSuite3, "AEGP Mask Outline Suite", 3) \
  X(aegpMaskOutlineSuite5, "AEGP Mask Outline Suite", 5) \
  X(aegpCommandSuite1, "AEGP Command Suite", 1) \
  X(aegpUtilitySuite7, "AEGP Utility Suite", 7) \
  X(aegpUtilitySuite3, "AEGP Utility Suite", 3) \
  X(aegpUtilitySuite10, "AEGP Utility Suite", 10) \
  X(aegpUtilitySuite11, "AEGP Utility Suite", 11) \
  X(aegpUtilitySuite13, "AEGP Utility Suite", 13) \
  X(aegpRenderSuite1, "AEGP Render Suite", 1) \
  X(aegpRenderSuite2, "AEGP Render Suite", 2) \
  X(aegpRenderSuite3, "AEGP Render Suite", 3) \
  X(pfAnsiSuite1, "PF ANSI Suite", 1) \
  X(pfHandleSuite2, "PF Handle Suite", 2) \
  X(pfFillMatteSuite2, "PF Fill Matte Suite", 2) \
  X(pfWorldTransformSuite1, "PF World Transform Suite", 1) \
  X(aegpQueryXformSuite4, "AEGP QueryXform Suite", 4) \
  X(aegpCompositeSuite4, "AEGP Composite Suite", 4) \
  X(pfWorldSuite1, "PF World Suite", 1) \
  X(aegpIoInSuite5, "AEGP IO In Suite", 5) \
  X(aegpIoOutSuite7, "AEGP IO Out Suite", 7) \
  X(aegpRenderQueueSuite1, "AEGP Render Queue Suite", 1) \
  X(aegpRenderQueueItemSuite3, "AEGP Render Queue Item Suite", 3) \
  X(aegpRenderQueueItemSuite4, "AEGP Render Queue Item Suite", 4) \
  X(aegpOutputModuleSuite4, "AEGP Output Module Suite", 4) \
  X(aegpFileImportManagerSuite3, "AEGP File Import Manager Suite", 3) \
  X(pfSampling8Suite1, "PF Sampling8 Suite", 1) \
  X(pfSampling16Suite1, "PF Sampling16 Suite", 1) \
  X(pfIterate8Suite1, "PF Iterate8 Suite", 1) \
  X(pfIterate16Suite1, "PF iterate16 Suite", 1) \
  X(pfIterateFloatSuite1, "PF iterateFloat Suite", 1) \
  X(aegpCollectionSuite2, "AEGP Collection Suite", 2) \
  X(aegpCollectionSuite1, "AEGP Collection Suite", 1) \
  X(aegpTextDocumentSuite1, "AEGP Text Document Suite", 1) \
  X(aegpSoundDataSuite1, "AEGP Sound Data Suite", 1) \
  X(aegpTextLayerSuite1, "AEGP Text Layer Suite", 1) \
  X(aegpArtisanUtilSuite1, "AEGP Artisan Util Suite", 1) \
  X(aegpWorldSuite2, "AEGP World Suite", 2) \
  X(aegpWorldSuite3, "AEGP World Suite", 3) \
  X(aegpRenderOptionsSuite1, "AEGP Render Options Suite", 1) \
  X(aegpRenderOptionsSuite2, "AEGP Render Options Suite", 2) \
  X(aegpTrackerSuite1, "AEGP Tracker Suite", 1) \
  X(aegpTrackerUtilitySuite1, "AEGP Tracker Utility Suite", 1) \
  X(aePluginHelper2Suite2, "AE Plugin Helper Suite2", 2) \
  X(pfAdvItemSuite1, "PF AE Adv Item Suite", 1) \
  X(aegpProjSuite8, "AEGP Proj Suite", 8) \
  X(aegpProjSuite9, "AEGP Proj Suite", 9) \
  X(aegpFootageSuite11, "AEGP Footage Suite", 11) \
  X(aegpPersistentDataSuite4, "AEGP Persistent Data Suite", 4) \
  X(aegpPersistentDataSuite3, "AEGP Persistent Data Suite", 3) \
  X(pfColorSettingsSuite3, "PF Color Settings Suite", 3) \
  X(pfColorSettingsSuite1, "PF Color Settings Suite", 1) \
  X(pfColorParamSuite1, "PF ColorParamSuite", 1) \
  X(pfSamplingFloatSuite1, "PF SamplingFloat Suite", 1) \
  X(pfEffectCustomUiSuite1, "PF Effect Custom UI Suite", 1) \
  X(pfEffectCustomUiOverlayThemeSuite1, "PF Effect Custom UI Overlay Theme Suite", 1) \
  X(drawbotDrawSuite1, "DRAWBOT Draw Suite", 1) \
  X(drawbotSupplierSuite1, "DRAWBOT Supplier Suite", 1) \
  X(drawbotSurfaceSuite1, "DRAWBOT Surface Suite", 1) \
  X(drawbotPathSuite1, "DRAWBOT Path Suite", 1) \
  X(spSuitesSuite2, "SP Suites Suite", 2)

class SuiteTable {
 public:
  enum class Suite : std::size_t {
#define OZ_AE_SUITE_ENUM(accessor, name, version) accessor,
    OZ_AE_ON_DEMAND_SUITES(OZ_AE_SUITE_ENUM)
#undef OZ_AE_SUITE_ENUM
    count
  };
  // Two slots beyond the rows stay empty; the table keeps its full size.
  static constexpr std::size_t kSlots = 120;
  static_assert(std::size_t(Suite::count) + 2 == kSlots);

  // A null broker throws as a missing suite does.
  explicit SuiteTable(const SPBasicSuite* basic);
  ~SuiteTable();
  SuiteTable(const SuiteTable&) = delete;
  SuiteTable& operator=(const SuiteTable&) = delete;

  // The suite, acquired on first use; throws int PF_Err_BAD_CALLBACK_PARAM
  // when the host has none.
  const void* get(Suite suite);
  template <class Table>
  const Table* get(Suite suite) {
    return static_cast<const Table*>(get(suite));
  }

  // Held now, without asking the host.
  const void* held(Suite suite) const { return entries_[std::size_t(suite)]; }
  static const char* nameOf(Suite suite);
  static std::int32_t versionOf(Suite suite);

#define OZ_AE_SUITE_ACCESSOR(accessor, name, version) \
  const void* accessor() { return get(Suite::accessor); }
  OZ_AE_ON_DEMAND_SUITES(OZ_AE_SUITE_ACCESSOR)
#undef OZ_AE_SUITE_ACCESSOR

 private:
  const SPBasicSuite* basic_;
  std::array<const void*, kSlots> entries_{};
};

}  // namespace OZ::Host::AE
