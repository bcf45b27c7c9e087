// Told whenever something the service's status object shows may have
// changed: the mode, the radar, the TV's configuration, the subscribers.
#ifndef TESSIVO_SERVICEMANAGER_ISTATUSLISTENER_H
#define TESSIVO_SERVICEMANAGER_ISTATUSLISTENER_H

class IStatusListener {
public:
    virtual ~IStatusListener() = default;
    // Cheap and non-blocking: the listener looks at the state later, on the
    // main loop. \context Thread-safe.
    virtual void OnStatusChanged() = 0;
};

#endif
