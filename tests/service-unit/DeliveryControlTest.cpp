// The books of the fan-out's back-pressure, driven step by step with the time
// given by hand: what goes out, what is skipped, when a client counts as
// stuck (its probe unanswered too long), and what an answer releases.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "DeliveryControl.h"

namespace {

const int64_t kMs = 1000;

CDeliveryControl::Limits SmallLimits() {
    CDeliveryControl::Limits limits;
    limits.framesPerClient = 2;
    limits.bytesInTotal = 1000;
    limits.stuckUs = 5000 * kMs;
    return limits;
}

enum Op { ADMIT, SENT, PROBE, ANSWER, ANSWER_OLDER, LOSE, FORGET };

// One step: at time atMs, op on client. For ADMIT, the verdict expected;
// for PROBE, whether a probe is due; ANSWER and LOSE refer to the last probe
// begun for that client, ANSWER_OLDER to the one before it. After each step
// the frames in flight of the client and the bytes in flight in all are
// checked.
struct Step {
    Op op;
    const char* client;
    int64_t atMs;
    size_t bytes;
    int expected;  // verdict for ADMIT, 1/0 for PROBE, unused otherwise
    int framesAfter;
    size_t totalAfter;
};

struct Case {
    const char* name;
    std::vector<Step> steps;
};

const int SEND = CDeliveryControl::VERDICT_SEND;
const int SKIP = CDeliveryControl::VERDICT_SKIP;
const int STUCK = CDeliveryControl::VERDICT_STUCK;

const std::vector<Case> kCases = {
    {"a client that answers is never held back",
     {{ADMIT, "a", 0, 100, SEND, 0, 0},
      {SENT, "a", 0, 100, 0, 1, 100},
      {PROBE, "a", 0, 0, 1, 1, 100},
      {PROBE, "a", 0, 0, 0, 1, 100},  // one probe out at a time
      {ANSWER, "a", 5, 0, 0, 0, 0},
      {ADMIT, "a", 100, 100, SEND, 0, 0}}},
    {"a client that does not answer gets its window, then nothing",
     {{SENT, "a", 0, 100, 0, 1, 100},
      {PROBE, "a", 0, 0, 1, 1, 100},
      {ADMIT, "a", 100, 100, SEND, 1, 100},
      {SENT, "a", 100, 100, 0, 2, 200},
      {PROBE, "a", 100, 0, 0, 2, 200},
      {ADMIT, "a", 200, 100, SKIP, 2, 200},
      // The answer covers what was sent before its probe, not after.
      {ANSWER, "a", 250, 0, 0, 1, 100},
      {ADMIT, "a", 300, 100, SEND, 1, 100}}},
    {"a probe unanswered for the stuck time is stuck, a moment less is not",
     {{SENT, "a", 1000, 100, 0, 1, 100},
      {PROBE, "a", 1000, 0, 1, 1, 100},
      {ADMIT, "a", 5999, 100, SEND, 1, 100},
      {ADMIT, "a", 6000, 100, STUCK, 1, 100},
      // An answer at last: the client is reading again.
      {ANSWER, "a", 6100, 0, 0, 0, 0},
      {ADMIT, "a", 6200, 100, SEND, 0, 0}}},
    {"a probe that could not be sent holds the client back, nothing more",
     {{SENT, "a", 0, 100, 0, 1, 100},
      {PROBE, "a", 0, 0, 1, 1, 100},
      {LOSE, "a", 10, 0, 0, 1, 100},
      {SENT, "a", 20, 100, 0, 2, 200},
      {ADMIT, "a", 60000, 100, SKIP, 2, 200},
      // The wait is the new probe's.
      {PROBE, "a", 60000, 0, 1, 2, 200},
      {ADMIT, "a", 64999, 100, SKIP, 2, 200},
      {ADMIT, "a", 65000, 100, STUCK, 2, 200},
      {ANSWER, "a", 65100, 0, 0, 0, 0}}},
    {"the total bound holds back only clients with something on its way",
     {{SENT, "a", 0, 450, 0, 1, 450},
      {SENT, "b", 0, 450, 0, 1, 900},
      {ADMIT, "a", 10, 200, SKIP, 1, 900},
      {ADMIT, "c", 10, 200, SEND, 0, 900},
      {ADMIT, "b", 10, 100, SEND, 1, 900}}},
    {"a lost probe is replaced, and a late answer to it counts for nothing",
     {{SENT, "a", 0, 100, 0, 1, 100},
      {PROBE, "a", 0, 0, 1, 1, 100},
      {LOSE, "a", 10, 0, 0, 1, 100},
      {PROBE, "a", 20, 0, 1, 1, 100},
      {ANSWER_OLDER, "a", 30, 0, 0, 1, 100},
      {ANSWER, "a", 40, 0, 0, 0, 0}}},
    {"a client that left takes its bytes with it",
     {{SENT, "a", 0, 300, 0, 1, 300},
      {SENT, "b", 0, 200, 0, 1, 500},
      {PROBE, "a", 0, 0, 1, 1, 500},
      {FORGET, "a", 10, 0, 0, 0, 200},
      {ANSWER, "a", 20, 0, 0, 0, 200},
      // With a's 300 bytes still counted this would pass the bound.
      {ADMIT, "b", 30, 800, SEND, 1, 200}}},
};

TEST(DeliveryControl, VerdictsAndBooksStepByStep) {
    for (const Case& test : kCases) {
        SCOPED_TRACE(test.name);
        CDeliveryControl control(SmallLimits());
        std::map<std::string, std::vector<uint64_t>> probes;
        int index = 0;
        for (const Step& step : test.steps) {
            SCOPED_TRACE("step " + std::to_string(index++));
            const int64_t now = step.atMs * kMs;
            const std::vector<uint64_t>& begun = probes[step.client];
            const uint64_t last = begun.empty() ? 0 : begun.back();
            const uint64_t older = begun.size() < 2 ? 0 : begun[begun.size() - 2];
            switch (step.op) {
                case ADMIT:
                    EXPECT_EQ(control.Admit(step.client, step.bytes, now), step.expected);
                    break;
                case SENT:
                    control.OnSent(step.client, step.bytes);
                    break;
                case PROBE: {
                    uint64_t id = control.BeginProbe(step.client, now);
                    EXPECT_EQ(id != 0, step.expected == 1);
                    if (id != 0) {
                        probes[step.client].push_back(id);
                    }
                    break;
                }
                case ANSWER:
                    control.OnProbeAnswered(step.client, last);
                    break;
                case ANSWER_OLDER:
                    control.OnProbeAnswered(step.client, older);
                    break;
                case LOSE:
                    control.OnProbeLost(step.client, last);
                    break;
                case FORGET:
                    control.Forget(step.client);
                    break;
            }
            EXPECT_EQ(control.FramesInFlight(step.client), step.framesAfter);
            EXPECT_EQ(control.BytesInFlight(), step.totalAfter);
        }
    }
}

TEST(DeliveryControl, StuckTellsHowLongAndBooksEndWithTheLastAnswer) {
    CDeliveryControl control(SmallLimits());
    control.OnSent(":1.1", 10);
    uint64_t id = control.BeginProbe(":1.1", 0);
    int64_t waited = 0;
    EXPECT_EQ(control.Admit(":1.1", 10, 7000 * kMs, &waited), CDeliveryControl::VERDICT_STUCK);
    EXPECT_EQ(waited, 7000 * kMs);
    EXPECT_EQ(control.ClientCount(), 1);
    control.OnProbeAnswered(":1.1", id);
    // Nothing on its way: nothing kept.
    EXPECT_EQ(control.ClientCount(), 0);
    EXPECT_EQ(control.BytesInFlight(), 0u);
}

}  // namespace
