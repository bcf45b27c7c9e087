#include "ModeSensorLink.h"

#include "ActivitySegment.h"
#include "ContextAutoLock.h"

ModeSensorLink::ModeSensorLink() : m_pActivitySegment(nullptr) {
    g_mutex_init(&m_mutex);
}

ModeSensorLink::~ModeSensorLink() {
    g_mutex_clear(&m_mutex);
}

void ModeSensorLink::Set(ActivitySegment* activitySegment) {
    ContextAutoLock lock(&m_mutex);
    m_pActivitySegment = activitySegment;
}

bool ModeSensorLink::IsSet() {
    ContextAutoLock lock(&m_mutex);
    return m_pActivitySegment != nullptr;
}

void ModeSensorLink::StartSensor() {
    ContextAutoLock lock(&m_mutex);
    if (m_pActivitySegment != nullptr) {
        m_pActivitySegment->StartSensor();
    }
}

void ModeSensorLink::StopSensor() {
    ContextAutoLock lock(&m_mutex);
    if (m_pActivitySegment != nullptr) {
        m_pActivitySegment->StopSensor();
    }
}

bool ModeSensorLink::ReadPresence(int* presence, double* distance) {
    ContextAutoLock lock(&m_mutex);
    return m_pActivitySegment != nullptr && m_pActivitySegment->ReadPresence(presence, distance);
}

void ModeSensorLink::SetPresenceResult(int detection, double distance) {
    ContextAutoLock lock(&m_mutex);
    if (m_pActivitySegment != nullptr) {
        m_pActivitySegment->SetPresenceResult(detection, distance);
    }
}

int ModeSensorLink::GetDemoViewerSubscribe() {
    ContextAutoLock lock(&m_mutex);
    return m_pActivitySegment != nullptr ? m_pActivitySegment->GetDemoViewerSubscribe() : 0;
}

bool ModeSensorLink::IsStreaming() {
    ContextAutoLock lock(&m_mutex);
    return m_pActivitySegment != nullptr && m_pActivitySegment->IsStreaming();
}

int64_t ModeSensorLink::GetLastPresenceTimeUs() {
    ContextAutoLock lock(&m_mutex);
    return m_pActivitySegment != nullptr ? m_pActivitySegment->GetLastPresenceTimeUs() : 0;
}
