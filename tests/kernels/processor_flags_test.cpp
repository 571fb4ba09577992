// The capability word from simulated query answers: its order, its
// multi-bit values, and absent features leaving it alone.

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "image/filters/processor_flags.h"

using namespace OZ::Image;

namespace {

// The features the simulated system reports; every other key fails.
std::set<std::string> present;
bool zeroValues = false;

int simulatedQuery(const char* key, std::int32_t& value) {
  if (!present.count(key)) return -1;
  value = zeroValues ? 0 : 1;
  return 0;
}

ProcessorFlags wordFor(std::set<std::string> features) {
  present = std::move(features);
  return buildProcessorFlags(simulatedQuery);
}

}  // namespace

TEST(ProcessorFlags, EveryQueryFailingGivesZero) {
  EXPECT_EQ(wordFor({}), 0u);
  zeroValues = true;
  EXPECT_EQ(wordFor({"hw.optional.mmx", "hw.optional.sse2"}), 0u);  // a zero value is absent too
  zeroValues = false;
}

TEST(ProcessorFlags, TheSettledLayoutOfTheWord) {
  EXPECT_EQ(wordFor({"hw.optional.mmx", "hw.optional.sse"}), 39u);
  EXPECT_EQ(wordFor({"hw.optional.sse"}), 38u);  // SSE without MMX: added to 0
  const ProcessorFlags sse42Only = wordFor({"hw.optional.sse4_2"});
  EXPECT_EQ(sse42Only, 0x1800u);
  EXPECT_FALSE(sse42Only & kFlagSSE41);
  const ProcessorFlags everything = wordFor({"hw.optional.mmx", "hw.optional.sse", "hw.optional.sse2",
                                             "hw.optional.sse3", "hw.optional.supplementalsse3",
                                             "hw.optional.sse4_1", "hw.optional.sse4_2", "hw.optional.aes",
                                             "hw.optional.bmi1", "hw.optional.f16c", "hw.optional.avx1_0",
                                             "hw.optional.avx2_0", "hw.optional.fma"});
  EXPECT_EQ(everything, 0x1 | 0x26 | 0x40 | 0x80 | 0x100 | 0x400 | 0x1800 | 0x4000 | 0x2000 | 0x20000 | 0x100000 |
                            0x200000 | 0x8000u);
  EXPECT_EQ(everything & (0x200 | 0x10 | 0x8 | 0x10000 | 0x40000 | 0x80000 | ~0x3FFFFFu), 0u);
  EXPECT_EQ(wordFor({"hw.optional.supplementalsse3"}), kFlagSSSE3);  // tests are independent
}

TEST(ProcessorFlags, TheMaskRestrictsThisMachinesWord) {
  const ProcessorFlags machine = queryProcessorFlags();
  EXPECT_TRUE(machine & kFlagSSE2);  // every x86-64 processor, and our 32-bit baseline
  restrictProcessorFlags(kFlagSSE2);
  EXPECT_EQ(queryProcessorFlags(), kFlagSSE2);
  restrictProcessorFlags(0);
  EXPECT_EQ(queryProcessorFlags(), 0u);
  restrictProcessorFlags(~ProcessorFlags(0));
  EXPECT_EQ(queryProcessorFlags(), machine);
}
