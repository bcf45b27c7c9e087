// Something that accepts events for its own thread: the receiving end of a
// hand-over, as a producer that must not know the concrete receiver sees it.
#ifndef TESSIVO_UTIL_ICONTEXTEVENTSINK_H
#define TESSIVO_UTIL_ICONTEXTEVENTSINK_H

class IContextEventSink {
public:
    virtual ~IContextEventSink() = default;
    // Queues event id with its payload; smaller priorities are served first.
    // True when the receiver took the payload (it then frees it); false
    // leaves the payload with the caller. \context Thread-safe.
    virtual bool PushEvent(int id, void* data, int priority) = 0;
};

#endif
