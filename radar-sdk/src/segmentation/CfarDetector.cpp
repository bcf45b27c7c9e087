#include "CfarDetector.h"

#include <algorithm>
#include <cmath>

namespace radar_sdk {

double CfarDetector::FalseAlarmProbability(int n, double alpha) {
    // Cell X ~ Gamma(2), estimate Z/n with Z ~ Gamma(2n): with b = alpha/n,
    // P(X > b Z) = E[exp(-bZ)(1 + bZ)] = (1+b)^-2n (1 + 2nb / (1+b)).
    const double b = alpha / n;
    return std::pow(1.0 + b, -2.0 * n) * (1.0 + 2.0 * n * b / (1.0 + b));
}

double CfarDetector::ThresholdFactor(int n, double pfa) {
    double low = 0.0, high = 1.0;
    while (FalseAlarmProbability(n, high) > pfa && high < 1e12) {
        high *= 2.0;
    }
    for (int i = 0; i < 100; ++i) {
        const double mid = 0.5 * (low + high);
        if (FalseAlarmProbability(n, mid) > pfa) {
            low = mid;
        } else {
            high = mid;
        }
    }
    return high;
}

std::unique_ptr<CfarDetector> CfarDetector::Create(int bins, int dopplers, const CfarConfig& config,
                                                   std::string* error) {
    auto fail = [error](const char* message) {
        if (error != nullptr) {
            *error = message;
        }
        return nullptr;
    };
    if (bins < 3 || dopplers < 3) {
        return fail("CfarDetector: the map must be at least 3 x 3");
    }
    if (config.guard < 0) {
        return fail("CfarDetector: guard must not be negative");
    }
    if (config.training < 1) {
        return fail("CfarDetector: training must be at least 1");
    }
    if (!(config.falseAlarm > 0.0 && config.falseAlarm < 1.0)) {
        return fail("CfarDetector: falseAlarm must be between 0 and 1");
    }
    if (config.capacity < 1) {
        return fail("CfarDetector: capacity must be at least 1");
    }
    std::unique_ptr<CfarDetector> stage(new CfarDetector());
    stage->m_bins = bins;
    stage->m_dopplers = dopplers;
    stage->m_config = config;
    stage->m_factor.assign(2 * config.training + 1, 0.0);
    for (int n = 1; n <= 2 * config.training; ++n) {
        stage->m_factor[n] = ThresholdFactor(n, config.falseAlarm);
    }
    stage->m_prefix.assign(bins + 1, 0.0);
    // Every cell of the map may pass before the strongest are kept.
    stage->m_cells.resize(static_cast<size_t>(bins) * dopplers);
    return stage;
}

bool CfarDetector::_IsPeak(const float* power, int k, int d) const {
    const float p = power[static_cast<size_t>(k) * m_dopplers + d];
    for (int dk = -1; dk <= 1; ++dk) {
        const int kk = k + dk;
        if (kk < 0 || kk >= m_bins) {
            continue;
        }
        for (int dd = -1; dd <= 1; ++dd) {
            if (dk == 0 && dd == 0) {
                continue;
            }
            // Doppler wraps round: the fastest approaching and receding
            // columns are neighbours.
            const int col = (d + dd + m_dopplers) % m_dopplers;
            const float q = power[static_cast<size_t>(kk) * m_dopplers + col];
            // Ties go to the nearer / slower cell so that a plateau gives one.
            if (q > p || (q == p && (dk < 0 || (dk == 0 && dd < 0)))) {
                return false;
            }
        }
    }
    return true;
}

int CfarDetector::Execute(const float* power, int firstBin, int lastBin, int skipColumn) {
    m_count = 0;
    firstBin = std::max(firstBin, 0);
    lastBin = std::min(lastBin, m_bins - 1);
    const int guard = m_config.guard;
    const int training = m_config.training;
    for (int d = 0; d < m_dopplers; ++d) {
        if (d == skipColumn) {
            continue;
        }
        m_prefix[0] = 0.0;
        for (int k = 0; k < m_bins; ++k) {
            m_prefix[k + 1] = m_prefix[k] + power[static_cast<size_t>(k) * m_dopplers + d];
        }
        for (int k = firstBin; k <= lastBin; ++k) {
            const int leftEnd = k - guard;  // exclusive
            const int leftBegin = std::max(0, leftEnd - training);
            const int rightBegin = k + guard + 1;
            const int rightEnd = std::min(m_bins, rightBegin + training);
            int n = 0;
            double sum = 0.0;
            if (leftEnd > leftBegin) {
                n += leftEnd - leftBegin;
                sum += m_prefix[leftEnd] - m_prefix[leftBegin];
            }
            if (rightEnd > rightBegin) {
                n += rightEnd - rightBegin;
                sum += m_prefix[rightEnd] - m_prefix[rightBegin];
            }
            if (n == 0) {
                continue;
            }
            const double noise = sum / n;
            const float p = power[static_cast<size_t>(k) * m_dopplers + d];
            if (!(p > m_factor[n] * noise)) {
                continue;
            }
            const bool peak = _IsPeak(power, k, d);
            if (m_config.peaksOnly && !peak) {
                continue;
            }
            CfarCell& cell = m_cells[m_count++];
            cell.bin = k;
            cell.column = d;
            cell.power = p;
            cell.noise = static_cast<float>(noise);
            cell.peak = peak;
        }
    }
    if (m_count > m_config.capacity) {
        // Peaks first, so that the flanks of a strong person never crowd
        // out a weaker person's peak.
        auto stronger = [](const CfarCell& a, const CfarCell& b) {
            return a.peak != b.peak ? a.peak : a.power > b.power;
        };
        std::nth_element(m_cells.begin(), m_cells.begin() + (m_config.capacity - 1),
                         m_cells.begin() + m_count, stronger);
        m_count = m_config.capacity;
    }
    return m_count;
}

}  // namespace radar_sdk
