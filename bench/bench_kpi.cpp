// Cost of the usage statistics on the mode thread: a presence sample (four a
// second) and a segmentation result (ten a second, one JSON parse), both
// taken under the statistics lock that the mode thread holds meanwhile.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <string.h>

#include "KPIManager.h"

namespace {

// A frame with two people, as the pipeline publishes it.
const char kTwoTracks[] =
    "{\"result\":[{\"segments\":[{\"num_of_segment\":6,\"segment\":\"0,1,1,0,0,0\"}],"
    "\"tracks\":[{\"angle\":-12.5,\"id\":1.0,\"range\":2.44,\"velocity\":0.25},"
    "{\"angle\":21.7,\"id\":2.0,\"range\":3.61,\"velocity\":-0.4}]}],\"status\":\"success\"}";

void BM_KpiPresenceSample(benchmark::State& state) {
    KPIManager manager;
    double distance = 0.0;
    for (auto _ : state) {
        manager.UpdateStat(1, distance);
        distance = distance < 6.5 ? distance + 0.25 : 0.0;
    }
}
BENCHMARK(BM_KpiPresenceSample);

void BM_KpiSegmentResult(benchmark::State& state) {
    KPIManager manager;
    for (auto _ : state) {
        // The manager takes the text over, as from segment mode.
        manager.UpdateStat(static_cast<void*>(strdup(kTwoTracks)));
    }
}
BENCHMARK(BM_KpiSegmentResult);

}  // namespace
