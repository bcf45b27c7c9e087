// One operating mode of the service, driven pass by pass by the state
// manager's mode thread.
#ifndef TESSIVO_SERVICEMANAGER_IMODE_H
#define TESSIVO_SERVICEMANAGER_IMODE_H

class IMode {
public:
    virtual ~IMode() = default;
    // Called once before the first pass of the mode loop.
    virtual void Init() = 0;
    // One pass: waits for and takes one measurement.
    virtual void Run() = 0;
    // The mode to run next; raises the mode-change log lines and timers.
    virtual IMode* GetNextMode() = 0;
    // Hands the measurement of the last pass to the statistics.
    virtual void UpdateStat() = 0;
    virtual void Resume() = 0;
    virtual void Pause() = 0;
};

#endif
