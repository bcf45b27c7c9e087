// The names of the service's D-Bus interface and of its subjects: one
// definition for the service, its pipeline and its clients.
#ifndef TESSIVO_UTIL_KAEINTERFACE_H
#define TESSIVO_UTIL_KAEINTERFACE_H

#define KAE_DBUS_NAME "com.norvale.tv.tessivo"
#define KAE_DBUS_PATH "/com/norvale/tv/tessivo"
#define KAE_DBUS_INTERFACE "com.norvale.tv.tessivo.interface"
#define KAE_DBUS_SIGNAL "Response"
// The read-only status object: what the service does and why, as
// properties with PropertiesChanged, for people and tools.
#define KAE_DBUS_STATUS_PATH "/com/norvale/tv/tessivo/Status"
#define KAE_DBUS_STATUS_INTERFACE "com.norvale.tv.tessivo.Status"
// Answer to request calls on a TV that has no sensing service behind the bus.
#define KAE_DBUS_ERROR_NOT_AVAILABLE "com.norvale.tv.tessivo.Error.NotAvailable"

#define KAE_SUBJECT_PRESENCE "KAE/GET/PRESENCE/"
#define KAE_SUBJECT_PRESENCE_DISTANCE "KAE/GET/PRESENCE_DISTANCE/"
#define KAE_SUBJECT_TRACK_SEGMENT "KAE/SUBSCRIBE/TRACK_SEGMENT/"
// Broadcast when the service comes onto the bus and when it leaves.
#define KAE_SUBJECT_HELLO "HELLO"
#define KAE_SUBJECT_BYE "BYE"

#endif
