// The image record against the stand-in host: each allocation route, the
// clear and copy paths, views, addressing, and that nothing leaks.

#include <gtest/gtest.h>

#include <cstring>
#include <new>

#include "image/image_buffer.h"
#include "image/shared_ref.h"
#include "support/host_fixture.h"

using namespace OZ::Image;
using TestSupport::HostFixture;
using Image = ImageBuffer<OZ::Host::AE::Host>;
using HostError = OZ::Host::AE::Host::Error;

namespace {

StandIn::Settings withoutWorldSuites() {
  StandIn::Settings settings;
  settings.worldSuite = false;
  settings.pixelFormatSuite1 = false;
  return settings;
}

StandIn::Settings premiere() {
  StandIn::Settings settings;
  settings.applicationId = StandIn::kPremiereId;
  return settings;
}

}  // namespace

// An image record allocated in place (records cannot be copied).
#define ALLOCATED(name, fixture, code, rect) \
  Image name(&(fixture).host);               \
  name.format = code;                        \
  name.depth = formatDepth(code);            \
  name.allocate(rect)

TEST(ImageBufferAllocation, WorldSuiteGivesAWorldOfTheRequestedFormat) {
  HostFixture fixture;
  {
    ALLOCATED(image, fixture, formatCode("BGra"), (Rect{10, 20, 14, 23}));
    EXPECT_TRUE(image.hasPixels());
    EXPECT_FALSE(image.usesPrivateBlock());
    EXPECT_EQ(image.owned, 1);
    EXPECT_EQ(fixture.standIn.liveWorlds(), 1u);
    EXPECT_EQ(fixture.standIn.formatOf(image.world), formatCode("BGra"));
    EXPECT_EQ(image.bounds, (Rect{10, 20, 14, 23}));
    EXPECT_EQ(image.frame, image.bounds);
  }
  EXPECT_EQ(fixture.standIn.liveWorlds(), 0u);
}

TEST(ImageBufferAllocation, WithoutTheSuiteTheClassicCallbackServesTheTwoHostFormats) {
  HostFixture fixture(withoutWorldSuites());
  {
    ALLOCATED(eight, fixture, formatCode("argb"), (Rect{-3, -4, 5, 6}));
    ALLOCATED(sixteen, fixture, formatCode("ae16"), (Rect{0, 0, 2, 2}));
    EXPECT_EQ(fixture.standIn.liveWorlds(), 2u);
    EXPECT_EQ(fixture.standIn.formatOf(eight.world), formatCode("argb"));
    EXPECT_EQ(fixture.standIn.formatOf(sixteen.world), formatCode("ae16"));
    EXPECT_EQ(eight.world.origin_x, -3);
    EXPECT_EQ(eight.world.origin_y, -4);
  }
  EXPECT_EQ(fixture.standIn.liveWorlds(), 0u);
}

TEST(ImageBufferAllocation, WithoutTheSuiteFloatTakesAPrivateBlockAndOtherFormatsFail) {
  HostFixture fixture(withoutWorldSuites());
  {
    ALLOCATED(image, fixture, formatCode("ARgb"), (Rect{0, 0, 3, 5}));
    EXPECT_TRUE(image.usesPrivateBlock());
    EXPECT_EQ(fixture.standIn.liveHandles(), 1u);
    EXPECT_EQ(fixture.standIn.liveWorlds(), 0u);
    EXPECT_EQ(image.world.rowbytes, 64);  // 48 bytes rounded up to 32
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(image.world.data) % 32, 0u);
    EXPECT_EQ(image.world.width, 3);
    EXPECT_EQ(image.world.extent_hint.bottom, 5);
  }
  EXPECT_EQ(fixture.standIn.liveHandles(), 0u);
  Image bgra(&fixture.host);
  bgra.format = formatCode("bgra");
  EXPECT_THROW(bgra.allocate(Rect{0, 0, 4, 4}), std::bad_alloc);
}

TEST(ImageBufferAllocation, PremiereGetsPrivateBlocksForDeepImagesOnly) {
  HostFixture fixture(premiere());
  ALLOCATED(deep, fixture, formatCode("Bgra"), (Rect{0, 0, 4, 4}));
  ALLOCATED(eight, fixture, formatCode("bgra"), (Rect{0, 0, 4, 4}));
  EXPECT_TRUE(deep.usesPrivateBlock());
  EXPECT_FALSE(eight.usesPrivateBlock());
  EXPECT_EQ(fixture.standIn.liveWorlds(), 1u);
}

TEST(ImageBufferAllocation, AnEmptyRectangleAsksTheHostForNothing) {
  HostFixture fixture;
  ALLOCATED(image, fixture, formatCode("argb"), (Rect{4, 4, 4, 9}));
  EXPECT_FALSE(image.hasPixels());
  EXPECT_EQ(image.bounds, (Rect{4, 4, 4, 9}));
  EXPECT_EQ(fixture.standIn.liveWorlds(), 0u);
  EXPECT_EQ(fixture.standIn.liveHandles(), 0u);
}

TEST(ImageBufferAllocation, RefusedMemoryBecomesBadAlloc) {
  HostFixture fixture;
  fixture.standIn.faults.refuseWorld = 1;
  Image image(&fixture.host);
  EXPECT_THROW(image.allocate(Rect{0, 0, 2, 2}), std::bad_alloc);

  HostFixture blocks(withoutWorldSuites());
  blocks.standIn.faults.refuseHandle = 1;
  Image deep(&blocks.host);
  deep.format = formatCode("ARgb");
  deep.depth = 32;
  EXPECT_THROW(deep.allocate(Rect{0, 0, 2, 2}), std::bad_alloc);
  blocks.standIn.faults.refuseHandle = 0;
  blocks.standIn.faults.refuseLock = true;
  EXPECT_THROW(deep.allocate(Rect{0, 0, 2, 2}), std::bad_alloc);
  EXPECT_EQ(blocks.standIn.liveHandles(), 0u);  // the unlockable handle went back
}

namespace {
StandIn::StandInHost* handlerHost = nullptr;
int handlerCalls = 0;
void freeSomeMemory() {
  ++handlerCalls;
  handlerHost->faults.refuseHandle = 0;
}
}  // namespace

TEST(ImageBufferAllocation, ARefusedHandleRetriesThroughTheNewHandler) {
  HostFixture fixture(withoutWorldSuites());
  fixture.standIn.faults.refuseHandle = 1;
  handlerHost = &fixture.standIn;
  handlerCalls = 0;
  const std::new_handler previous = std::set_new_handler(freeSomeMemory);
  {
    ALLOCATED(image, fixture, formatCode("ARgb"), (Rect{0, 0, 2, 2}));
    EXPECT_TRUE(image.hasPixels());
  }
  std::set_new_handler(previous);
  EXPECT_EQ(handlerCalls, 1);
  EXPECT_EQ(fixture.standIn.liveHandles(), 0u);
}

TEST(ImageBufferWrap, TheFormatComesFromTheSuitesThenTheDeepFlag) {
  HostFixture fixture;
  PF_EffectWorld* layer = fixture.layer(6, 4, formatCode("Bgra"), 100, 200);
  layer->extent_hint = {1, 1, 5, 3};
  Image wrapped(&fixture.host, layer);
  EXPECT_EQ(wrapped.format, formatCode("Bgra"));
  EXPECT_EQ(wrapped.depth, 16);
  EXPECT_EQ(wrapped.owned, 0);
  EXPECT_EQ(wrapped.frame, (Rect{100, 200, 106, 204}));
  EXPECT_EQ(wrapped.bounds, (Rect{101, 201, 105, 203}));

  StandIn::Settings onlyWorldSuite;
  onlyWorldSuite.pixelFormatSuite1 = false;
  HostFixture second(onlyWorldSuite);
  Image viaWorldSuite(&second.host, second.layer(2, 2, formatCode("ARgb")));
  EXPECT_EQ(viaWorldSuite.format, formatCode("ARgb"));

  HostFixture third(withoutWorldSuites());
  PF_EffectWorld* deep = third.layer(2, 2, formatCode("ae16"));
  EXPECT_EQ(Image(&third.host, deep).format, formatCode("ae16"));
  deep->world_flags = 0;
  EXPECT_EQ(Image(&third.host, deep).format, formatCode("argb"));

  PF_EffectWorld foreign = *layer;
  unsigned char elsewhere[64];
  foreign.data = reinterpret_cast<PF_PixelPtr>(elsewhere);
  EXPECT_THROW(Image(&fixture.host, &foreign), HostError);  // the query fails
}

TEST(ImageBufferAddressing, ARowStrideOfTheOtherSignFlipsTheRows) {
  HostFixture fixture;
  PF_EffectWorld* output = fixture.layer(4, 3, formatCode("argb"), 0, 0, /*negativeRows*/ true);
  fixture.host.output = output;
  PF_EffectWorld* layer = fixture.layer(4, 3, formatCode("argb"));
  Image same(&fixture.host, output), other(&fixture.host, layer);
  EXPECT_EQ(same.rowStride(), output->rowbytes);
  EXPECT_EQ(same.firstRow(), reinterpret_cast<unsigned char*>(output->data));
  // The layer's rows run the other way: its top row is the last in memory.
  auto* base = reinterpret_cast<unsigned char*>(layer->data);
  EXPECT_EQ(other.rowStride(), -layer->rowbytes);
  EXPECT_EQ(other.firstRow(), base + 2 * layer->rowbytes);
  EXPECT_EQ(other.pixelAddress(1, 0), base + 2 * layer->rowbytes + 4);
  EXPECT_EQ(other.pixelAddress(1, 2), base + 4);
  EXPECT_EQ(other.descriptor().flags, 2u);
}

TEST(ImageBufferViews, AViewAddressesTheSamePixelsAndOwnsNothing) {
  HostFixture fixture;
  ALLOCATED(source, fixture, formatCode("Argb"), (Rect{10, 10, 20, 20}));
  {
    Image view(&fixture.host);
    view.viewOf(source, Rect{12, 5, 30, 14});
    EXPECT_EQ(view.bounds, (Rect{12, 10, 20, 14}));
    EXPECT_EQ(view.owned, 0);
    EXPECT_EQ(view.pixelAddress(15, 12), source.pixelAddress(15, 12));
    EXPECT_EQ(view.frame, source.frame);
  }
  EXPECT_EQ(fixture.standIn.liveWorlds(), 1u);  // the view freed nothing
  auto reference = borrowed(&source);
  EXPECT_EQ(reference.use_count(), 0);
}

namespace {
void fillBytes(Image& image, unsigned char seed) {
  for (std::int32_t y = image.bounds.y0; y < image.bounds.y1; ++y)
    for (std::int32_t i = 0; i < width(image.bounds) * 4 * image.depth / 8; ++i)
      image.pixelAddress(image.bounds.x0, y)[i] = static_cast<unsigned char>(seed + y * 31 + i);
}
}  // namespace

TEST(ImageBufferClear, WholeRecordsAndPartsGoByTheirOwnPaths) {
  HostFixture fixture(withoutWorldSuites());
  ALLOCATED(block, fixture, formatCode("ARgb"), (Rect{0, 0, 3, 4}));
  std::memset(block.blockData, 0x7f, std::size_t(block.world.rowbytes) * 4);
  block.clear(infiniteRect);
  for (int i = 0; i < block.world.rowbytes * 4; ++i) ASSERT_EQ(block.blockData[i], 0) << i;  // row tails too

  ALLOCATED(world, fixture, formatCode("argb"), (Rect{5, 5, 9, 9}));
  fillBytes(world, 1);
  world.clear(Rect{6, 6, 8, 20});  // a part of an owned host world: the fill callback
  for (std::int32_t y = 5; y < 9; ++y)
    for (std::int32_t x = 5; x < 9; ++x) {
      const bool inside = x >= 6 && x < 8 && y >= 6;
      const unsigned char* pixel = world.pixelAddress(x, y);
      EXPECT_EQ(pixel[0] == 0 && pixel[1] == 0 && pixel[2] == 0 && pixel[3] == 0, inside) << x << "," << y;
    }
  fixture.standIn.faults.fillError = 7;
  try {
    world.clear(world.bounds);
    FAIL() << "a failing fill must throw";
  } catch (const HostError& error) {
    EXPECT_EQ(error.code, 7);
  }

  PF_EffectWorld* layer = fixture.layer(4, 2, formatCode("argb"));
  Image wrapped(&fixture.host, layer);
  fillBytes(wrapped, 9);
  wrapped.clear(Rect{1, 0, 3, 1});  // not ours: cleared in memory, no callback
  EXPECT_EQ(wrapped.pixelAddress(1, 0)[0], 0);
  EXPECT_NE(wrapped.pixelAddress(0, 0)[1], 0);
}

TEST(ImageBufferCopy, WholeOwnedWorldsAreCopiedByTheHost) {
  HostFixture fixture;
  ALLOCATED(source, fixture, formatCode("bgra"), (Rect{0, 0, 4, 4}));
  ALLOCATED(target, fixture, formatCode("bgra"), (Rect{0, 0, 4, 4}));
  fillBytes(source, 3);
  target.copyFrom(source);
  EXPECT_EQ(std::memcmp(target.pixelAddress(0, 3), source.pixelAddress(0, 3), 16), 0);
  fixture.standIn.faults.copyError = 11;
  try {
    target.copyFrom(source);
    FAIL() << "a failing copy must throw";
  } catch (const HostError& error) {
    EXPECT_EQ(error.code, 11);
  }
}

TEST(ImageBufferCopy, ChannelOrderAndDepthConvertPerComponent) {
  HostFixture fixture;
  PF_EffectWorld* argbWorld = fixture.layer(2, 1, formatCode("argb"));
  PF_EffectWorld* bgraWorld = fixture.layer(2, 1, formatCode("bgra"));
  PF_EffectWorld* floatWorld = fixture.layer(2, 1, formatCode("BGra"));
  Image argb(&fixture.host, argbWorld), bgra(&fixture.host, bgraWorld), floats(&fixture.host, floatWorld);
  const unsigned char pixel[8] = {255, 10, 20, 30, 128, 1, 2, 3};  // A R G B
  std::memcpy(argb.firstRow(), pixel, 8);
  bgra.copyFrom(argb);
  const unsigned char swapped[8] = {30, 20, 10, 255, 3, 2, 1, 128};  // B G R A
  EXPECT_EQ(std::memcmp(bgra.firstRow(), swapped, 8), 0);
  floats.copyFrom(argb);
  const float* values = reinterpret_cast<const float*>(floats.firstRow());
  EXPECT_EQ(values[3], 1.0f);  // alpha 255
  EXPECT_EQ(values[2], 10 / 255.0f);
  EXPECT_EQ(values[0], 30 / 255.0f);
}

TEST(ImageBufferCopy, RecordsThatDoNotOverlapCopyNothing) {
  HostFixture fixture;
  ALLOCATED(a, fixture, formatCode("argb"), (Rect{0, 0, 2, 2}));
  ALLOCATED(b, fixture, formatCode("argb"), (Rect{10, 10, 12, 12}));
  fillBytes(a, 5);
  fillBytes(b, 6);
  const unsigned char before = b.firstRow()[0];
  b.copyFrom(a);
  EXPECT_EQ(b.firstRow()[0], before);
}

TEST(ImageBufferLifetime, ReleaseAndDestructionFreeEverything) {
  HostFixture fixture(premiere());
  {
    ALLOCATED(deep, fixture, formatCode("Argb"), (Rect{0, 0, 8, 8}));
    ALLOCATED(eight, fixture, formatCode("argb"), (Rect{0, 0, 8, 8}));
    Image again(&fixture.host);
    again.allocateLike(deep, Rect{0, 0, 3, 3});
    again.allocateLike(eight, Rect{0, 0, 3, 3});  // the block goes, a world comes
    EXPECT_EQ(fixture.standIn.liveHandles(), 1u);
    EXPECT_EQ(fixture.standIn.liveWorlds(), 2u);
    eight.release();
    EXPECT_FALSE(eight.hasPixels());
    EXPECT_EQ(fixture.standIn.liveWorlds(), 1u);
  }
  EXPECT_EQ(fixture.standIn.liveHandles(), 0u);
  EXPECT_EQ(fixture.standIn.liveWorlds(), 0u);
}
