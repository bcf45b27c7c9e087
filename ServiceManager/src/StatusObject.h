// The service's status on the bus: one object (KAE_DBUS_STATUS_PATH) with
// one interface of read-only properties. org.freedesktop.DBus.Properties
// answers Get and GetAll; every change of a value is signalled once, in one
// PropertiesChanged per update. The two timestamps are read when asked and
// never signalled: they move with every frame.
#ifndef TESSIVO_SERVICEMANAGER_STATUSOBJECT_H
#define TESSIVO_SERVICEMANAGER_STATUSOBJECT_H

#include <gio/gio.h>

#include "StatusSnapshot.h"

class CServiceStatus;

class CStatusObject {
public:
    // status answers the timestamps; it outlives this object.
    explicit CStatusObject(CServiceStatus* status);
    ~CStatusObject();

    CStatusObject(const CStatusObject&) = delete;
    CStatusObject& operator=(const CStatusObject&) = delete;

    // Exports the object with these values; false (logged) when it cannot.
    // \context Main thread.
    bool Register(GDBusConnection* connection, const StatusSnapshot& snapshot);
    // \context Main thread.
    void Unregister();
    // Takes the new values and, while exported, signals those that changed.
    // \context Main thread.
    void Update(const StatusSnapshot& snapshot);

    static GVariant* _GetProperty(GDBusConnection* connection, const gchar* sender,
                                  const gchar* objectPath, const gchar* interfaceName,
                                  const gchar* propertyName, GError** error, gpointer user);

private:
    // A new (floating) value of the named property, or null for none.
    GVariant* __Value(const char* name);

    CServiceStatus* m_pStatus;
    GDBusNodeInfo* m_pNodeInfo;
    GDBusConnection* m_connection;  // set while exported
    guint m_registrationId;
    StatusSnapshot m_snapshot;  // the values last taken
};

#endif
