// The generator to the bit, and the schedule against worked examples.

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "effect/pulse_schedule.h"
#include "effect/rand48.h"

using namespace StrobeQuirk;

TEST(Rand48, MatchesTheCLibraryGenerator) {
  Rand48State state;
  seedRandom(state);
  unsigned short reference[3] = {0x330E, 0xABCD, 0x1234};
  for (int i = 0; i < 100000; ++i) {
    const float expected = float(erand48(reference));
    ASSERT_EQ(nextRandom(state), expected) << "draw " << i;
    ASSERT_EQ(state.state0, reference[0]);
    ASSERT_EQ(state.state2, reference[2]);
  }
}

namespace {

std::vector<int> pulseFrames(double quirkTime, double randomQuirk, int first, int last) {
  const PulseSettings settings = pulseSettings(quirkTime, randomQuirk);
  std::vector<int> frames;
  for (int frame = first; frame <= last; ++frame) {
    PulseWalk walk;
    seedRandom(walk.random);
    if (pulseOpacity(float(frame), settings, walk) == 1.0f) frames.push_back(frame);
  }
  return frames;
}

}  // namespace

TEST(PulseSchedule, AFixedGapRepeatsTwoOnThenTheGap) {
  EXPECT_EQ(pulseFrames(3, 0, 0, 12), (std::vector<int>{0, 1, 5, 6, 10, 11}));
  // The smallest quirk time: two frames on, one off.
  EXPECT_EQ(pulseFrames(1, 0, 0, 8), (std::vector<int>{0, 1, 3, 4, 6, 7}));
}

TEST(PulseSchedule, NegativeFramesAreNeverPulses) { EXPECT_TRUE(pulseFrames(3, 0, -40, -1).empty()); }

TEST(PulseSchedule, RandomGapsFollowTheGeneratorAndFloorAtOneFrame) {
  // Quirk time 3, random 100%: pulses start at 0, 4.38, 11.42, 15.54, 20.22,
  // 24.13, 31.45, then a drawn gap of 0.09 floored to 1: 34.45.
  EXPECT_EQ(pulseFrames(3, 100, 0, 37),
            (std::vector<int>{0, 1, 5, 6, 12, 13, 16, 17, 21, 22, 25, 26, 32, 33, 35, 36}));
}

TEST(PulseSchedule, AFrameExactlyAtTheNextPulseIsAPulse) {
  PulseWalk walk;
  seedRandom(walk.random);
  EXPECT_EQ(pulseOpacity(5.0f, pulseSettings(3, 0), walk), 1.0f);
  EXPECT_EQ(walk.pulseStart, 5.0f);
}

TEST(PulseSchedule, AWalkGoingOnGivesWhatAReplayGives) {
  const PulseSettings settings = pulseSettings(7.5, 60);
  PulseWalk onward;
  seedRandom(onward.random);
  for (int frame = 0; frame < 3000; frame += 1 + frame % 3) {
    PulseWalk replay;
    seedRandom(replay.random);
    ASSERT_EQ(pulseOpacity(float(frame), settings, onward), pulseOpacity(float(frame), settings, replay)) << frame;
  }
}
