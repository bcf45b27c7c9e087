// Stage 4: detection in the range-Doppler power map by cell-averaging CFAR
// along range. Each cell is compared with the mean of `training` cells on
// either side beyond `guard` cells (a person is about 0.3 m deep, plus the
// window's main lobe), times a factor that gives the design false-alarm
// probability for cells that sum two receivers' noise (a gamma law of shape
// 2). Training runs along range, not Doppler, because a walker's limbs spread
// its energy over many Doppler columns at one range. Each cell is marked as
// a local maximum of the map or not (only maxima survive with peaksOnly);
// at most `capacity` cells go on, peaks first, then the strongest.
#ifndef TESSIVO_RADARSDK_CFARDETECTOR_H
#define TESSIVO_RADARSDK_CFARDETECTOR_H

#include <memory>
#include <string>
#include <vector>

namespace radar_sdk {

struct CfarCell {
    int bin = 0;
    int column = 0;
    float power = 0.0f;
    float noise = 0.0f;  // the local noise estimate the cell was tested against
    bool peak = false;   // a local maximum (3 x 3) of the map
};

struct CfarConfig {
    int guard = 4;             // cells either side left out of the estimate
    int training = 8;          // cells either side averaged
    double falseAlarm = 1e-6;  // design probability per cell
    bool peaksOnly = true;     // keep local maxima (3 x 3) only
    int capacity = 128;        // most cells reported per frame
};

class CfarDetector {
public:
    // Null with *error naming the bad argument.
    static std::unique_ptr<CfarDetector> Create(int bins, int dopplers, const CfarConfig& config,
                                                std::string* error);

    // Scans bins firstBin..lastBin of every column but skipColumn (-1: none)
    // of a bins x dopplers power map. Returns the number of cells found.
    // Allocates nothing.
    int Execute(const float* power, int firstBin, int lastBin, int skipColumn);
    // The stage keeps no history; present for the stage life cycle.
    void Reset() {}

    const CfarCell* Cells() const { return m_cells.data(); }
    int Count() const { return m_count; }

    // The factor on the mean of n training cells that gives probability pfa
    // of a noise cell (shape-2 gamma) exceeding the threshold.
    // \context Thread-safe.
    static double ThresholdFactor(int n, double pfa);
    // The false-alarm probability of factor alpha over n training cells.
    // \context Thread-safe.
    static double FalseAlarmProbability(int n, double alpha);

private:
    CfarDetector() = default;
    bool _IsPeak(const float* power, int k, int d) const;

    int m_bins = 0;
    int m_dopplers = 0;
    CfarConfig m_config;
    std::vector<double> m_factor;  // by number of training cells
    std::vector<double> m_prefix;  // running sum of one column along range
    std::vector<CfarCell> m_cells;
    int m_count = 0;
};

}  // namespace radar_sdk

#endif
