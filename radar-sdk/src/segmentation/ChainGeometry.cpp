#include "ChainGeometry.h"

#include <cmath>

namespace radar_sdk {

namespace {

bool Fail(std::string* error, const std::string& message) {
    if (error != nullptr) {
        *error = message;
    }
    return false;
}

bool IsPositive(float value) {
    return std::isfinite(value) && value > 0.0f;
}

}  // namespace

bool DeriveChainGeometry(const SegmentationSettings& settings, ChainGeometry* geometry,
                         std::string* error) {
    if (settings.samplesPerChirp < 16 || settings.samplesPerChirp > kMaxSamplesPerChirp) {
        return Fail(error, "samplesPerChirp: must be 16.." + std::to_string(kMaxSamplesPerChirp) +
                               " (got " + std::to_string(settings.samplesPerChirp) + ")");
    }
    if (settings.chirpsPerFrame < 8 || settings.chirpsPerFrame > kMaxChirpsPerFrame) {
        return Fail(error, "chirpsPerFrame: must be 8.." + std::to_string(kMaxChirpsPerFrame) +
                               " (got " + std::to_string(settings.chirpsPerFrame) + ")");
    }
    if (!IsPositive(settings.bandwidthHz)) {
        return Fail(error, "bandwidthHz: must be positive");
    }
    if (!IsPositive(settings.chirpRepetitionTimeS)) {
        return Fail(error, "chirpRepetitionTimeS: must be positive");
    }
    if (!IsPositive(settings.centreFrequencyHz)) {
        return Fail(error, "centreFrequencyHz: must be positive");
    }
    if (!IsPositive(settings.framePeriodS)) {
        return Fail(error, "framePeriodS: must be positive");
    }
    if (!IsPositive(settings.maxRangeM)) {
        return Fail(error, "maxRangeM: must be positive");
    }
    ChainGeometry g;
    g.samples = settings.samplesPerChirp;
    g.chirps = settings.chirpsPerFrame;
    g.rangeFftSize = 2 * g.samples;
    g.rangeBinM = kSpeedOfLightMps / (2.0f * settings.bandwidthHz) * static_cast<float>(g.samples) /
                  static_cast<float>(g.rangeFftSize);
    g.wavelengthM = kSpeedOfLightMps / settings.centreFrequencyHz;
    g.speedBinMps =
        g.wavelengthM / (2.0f * static_cast<float>(g.chirps) * settings.chirpRepetitionTimeS);
    g.maxRangeM = settings.maxRangeM;
    g.framePeriodS = settings.framePeriodS;
    // Half the padded FFT is the unambiguous range of real samples.
    const int usable = g.rangeFftSize / 2 - 1;
    g.firstBin = static_cast<int>(std::ceil(kMinRangeM / g.rangeBinM));
    const double lastRange = static_cast<double>(settings.maxRangeM) + kRangeMarginM;
    const double last = std::ceil(lastRange / g.rangeBinM);
    if (g.firstBin + 4 > usable) {
        return Fail(error, "bandwidthHz: range bins too coarse for people");
    }
    g.lastBin = last > usable ? usable : static_cast<int>(last);
    if (g.lastBin < g.firstBin + 2) {
        return Fail(error, "maxRangeM: shorter than the nearest range a person is looked for at");
    }
    // A few more bins than the last looked at: the detector's training cells.
    g.rangeBins = g.lastBin + 12 > usable + 1 ? usable + 1 : g.lastBin + 12;
    *geometry = g;
    return true;
}

}  // namespace radar_sdk
