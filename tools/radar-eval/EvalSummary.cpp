#include "EvalSummary.h"

#include <math.h>

#include <algorithm>
#include <tuple>

double Quantile(std::vector<double> values, double p) {
    if (values.empty()) {
        return 0.0;
    }
    std::sort(values.begin(), values.end());
    const double position = p * static_cast<double>(values.size() - 1);
    const size_t low = static_cast<size_t>(floor(position));
    const size_t high = std::min(low + 1, values.size() - 1);
    return values[low] + (values[high] - values[low]) * (position - static_cast<double>(low));
}

std::vector<ClassSummary> SummarizeClasses(const std::vector<EvalRoom>& rooms,
                                           const std::vector<EvalRoomResult>& results) {
    std::vector<ClassSummary> summaries;
    for (int c = 0; c < kRoomClasses; ++c) {
        ClassSummary summary;
        summary.roomClass = static_cast<RoomClass>(c);
        std::vector<double> values[kFigures];
        for (size_t r = 0; r < rooms.size(); ++r) {
            if (!results[r].error.empty() || !InClass(rooms[r], results[r], summary.roomClass)) {
                continue;
            }
            ++summary.rooms;
            for (int f = 0; f < kFigures; ++f) {
                double value = 0.0;
                if (FigureValue(rooms[r], results[r], static_cast<Figure>(f), &value)) {
                    values[f].push_back(value);
                }
            }
            for (int cause = 0; cause < radar::kFalseTrackCauses; ++cause) {
                summary.longestHoldS[cause] =
                    std::max(summary.longestHoldS[cause],
                             results[r].score.falseTrackCauses[cause].longestHoldS);
            }
        }
        for (int f = 0; f < kFigures; ++f) {
            FigureDistribution& distribution = summary.figures[f];
            distribution.rooms = static_cast<int>(values[f].size());
            distribution.median = Quantile(values[f], 0.5);
            const bool higherIsBetter = InfoOf(static_cast<Figure>(f)).higherIsBetter;
            distribution.worst = Quantile(values[f], higherIsBetter ? 0.1 : 0.9);
        }
        summaries.push_back(summary);
    }
    return summaries;
}

std::vector<size_t> WorstRooms(const std::vector<EvalRoom>& rooms,
                               const std::vector<EvalRoomResult>& results, size_t count) {
    // (misses, false tracks per 100 frames, index), sorted worst first.
    std::vector<std::tuple<size_t, double, size_t>> ranked;
    for (size_t r = 0; r < rooms.size(); ++r) {
        if (!results[r].error.empty()) {
            continue;
        }
        const size_t misses = RoomMisses(rooms[r], results[r]).size();
        if (misses == 0) {
            continue;
        }
        ranked.emplace_back(misses, results[r].score.falseTracksPer100Frames, r);
    }
    std::sort(ranked.begin(), ranked.end(), [](const auto& a, const auto& b) {
        if (std::get<0>(a) != std::get<0>(b)) {
            return std::get<0>(a) > std::get<0>(b);
        }
        if (std::get<1>(a) != std::get<1>(b)) {
            return std::get<1>(a) > std::get<1>(b);
        }
        return std::get<2>(a) < std::get<2>(b);
    });
    std::vector<size_t> worst;
    for (size_t i = 0; i < ranked.size() && i < count; ++i) {
        worst.push_back(std::get<2>(ranked[i]));
    }
    return worst;
}
