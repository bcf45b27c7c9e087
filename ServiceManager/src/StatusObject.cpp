#include "StatusObject.h"

#include <string.h>

#include <string>

#include "ContextLog.h"
#include "KaeInterface.h"
#include "ServiceStatus.h"

namespace {

// Property names are part of the interface: scripts read them.
const char kIntrospectionXml[] =
    "<node>"
    "  <interface name='" KAE_DBUS_STATUS_INTERFACE
    "'>"
    "    <property name='Shape' type='s' access='read'/>"
    "    <property name='Mode' type='s' access='read'/>"
    "    <property name='Reason' type='s' access='read'/>"
    "    <property name='ReasonText' type='s' access='read'/>"
    "    <property name='Streaming' type='b' access='read'/>"
    "    <property name='SensorClaimed' type='b' access='read'/>"
    "    <property name='Subscribers' type='u' access='read'/>"
    "    <property name='UsageStatistics' type='b' access='read'/>"
    "    <property name='Country' type='s' access='read'/>"
    "    <property name='CountryListed' type='b' access='read'/>"
    "    <property name='StatisticsAgreed' type='b' access='read'/>"
    "    <property name='LastPresenceTimestamp' type='t' access='read'>"
    "      <annotation name='org.freedesktop.DBus.Property.EmitsChangedSignal' value='false'/>"
    "    </property>"
    "    <property name='LastResultTimestamp' type='t' access='read'>"
    "      <annotation name='org.freedesktop.DBus.Property.EmitsChangedSignal' value='false'/>"
    "    </property>"
    "  </interface>"
    "</node>";

const char kLastPresence[] = "LastPresenceTimestamp";
const char kLastResult[] = "LastResultTimestamp";

// The signalled properties, in the order of the interface.
struct SignalledProperty {
    const char* name;
    GVariant* (*value)(const StatusSnapshot& snapshot);
};

const SignalledProperty kSignalled[] = {
    {"Shape", [](const StatusSnapshot& s) { return g_variant_new_string(s.shape.c_str()); }},
    {"Mode", [](const StatusSnapshot& s) { return g_variant_new_string(s.mode.c_str()); }},
    {"Reason", [](const StatusSnapshot& s) { return g_variant_new_string(s.reason.c_str()); }},
    {"ReasonText",
     [](const StatusSnapshot& s) { return g_variant_new_string(s.reasonText.c_str()); }},
    {"Streaming", [](const StatusSnapshot& s) { return g_variant_new_boolean(s.streaming); }},
    {"SensorClaimed",
     [](const StatusSnapshot& s) { return g_variant_new_boolean(s.sensorClaimed); }},
    {"Subscribers", [](const StatusSnapshot& s) { return g_variant_new_uint32(s.subscribers); }},
    {"UsageStatistics",
     [](const StatusSnapshot& s) { return g_variant_new_boolean(s.usageStatistics); }},
    {"Country", [](const StatusSnapshot& s) { return g_variant_new_string(s.country.c_str()); }},
    {"CountryListed",
     [](const StatusSnapshot& s) { return g_variant_new_boolean(s.countryListed); }},
    {"StatisticsAgreed",
     [](const StatusSnapshot& s) { return g_variant_new_boolean(s.statisticsAgreed); }},
};

// No setter: GDBus refuses Set on a read-only property by itself.
const GDBusInterfaceVTable kVTable = {nullptr, CStatusObject::_GetProperty, nullptr, {}};

}  // namespace

CStatusObject::CStatusObject(CServiceStatus* status)
    : m_pStatus(status), m_pNodeInfo(nullptr), m_connection(nullptr), m_registrationId(0) {}

CStatusObject::~CStatusObject() {
    Unregister();
    if (m_pNodeInfo != nullptr) {
        g_dbus_node_info_unref(m_pNodeInfo);
    }
}

bool CStatusObject::Register(GDBusConnection* connection, const StatusSnapshot& snapshot) {
    m_snapshot = snapshot;
    if (m_registrationId != 0 || connection == nullptr) {
        return m_registrationId != 0;
    }
    if (m_pNodeInfo == nullptr) {
        m_pNodeInfo = g_dbus_node_info_new_for_xml(kIntrospectionXml, nullptr);
        if (m_pNodeInfo == nullptr) {
            KAE_LOGE("status object: introspection data does not parse");
            return false;
        }
    }
    GError* error = nullptr;
    m_registrationId = g_dbus_connection_register_object(connection, KAE_DBUS_STATUS_PATH,
                                                         m_pNodeInfo->interfaces[0], &kVTable, this,
                                                         nullptr, &error);
    if (m_registrationId == 0) {
        KAE_LOGE("status object not registered: %s", error != nullptr ? error->message : "");
        g_clear_error(&error);
        return false;
    }
    m_connection = connection;
    KAE_LOGI("status object at %s: %s mode, %s", KAE_DBUS_STATUS_PATH, snapshot.mode.c_str(),
             snapshot.reason.c_str());
    return true;
}

void CStatusObject::Unregister() {
    if (m_registrationId != 0) {
        g_dbus_connection_unregister_object(m_connection, m_registrationId);
        m_registrationId = 0;
        m_connection = nullptr;
    }
}

void CStatusObject::Update(const StatusSnapshot& snapshot) {
    GVariantBuilder changed;
    g_variant_builder_init(&changed, G_VARIANT_TYPE("a{sv}"));
    std::string names;
    bool anyChanged = false;
    for (const SignalledProperty& property : kSignalled) {
        GVariant* before = g_variant_ref_sink(property.value(m_snapshot));
        GVariant* after = g_variant_ref_sink(property.value(snapshot));
        if (!g_variant_equal(before, after)) {
            g_variant_builder_add(&changed, "{sv}", property.name, after);
            anyChanged = true;
            // The reason's word says it; the log keeps to one short line.
            if (strcmp(property.name, "ReasonText") != 0) {
                gchar* text = g_variant_print(after, FALSE);
                names += std::string(names.empty() ? "" : ", ") + property.name + " " + text;
                g_free(text);
            }
        }
        g_variant_unref(before);
        g_variant_unref(after);
    }
    m_snapshot = snapshot;
    if (!anyChanged || m_registrationId == 0) {
        g_variant_builder_clear(&changed);
        return;
    }
    KAE_LOGI("status changed: %s", names.c_str());
    GError* error = nullptr;
    if (!g_dbus_connection_emit_signal(
            m_connection, nullptr, KAE_DBUS_STATUS_PATH, "org.freedesktop.DBus.Properties",
            "PropertiesChanged",
            g_variant_new("(sa{sv}as)", KAE_DBUS_STATUS_INTERFACE, &changed, nullptr), &error)) {
        KAE_LOGE("status signal failed: %s", error != nullptr ? error->message : "");
        g_clear_error(&error);
    }
}

GVariant* CStatusObject::__Value(const char* name) {
    for (const SignalledProperty& property : kSignalled) {
        if (strcmp(property.name, name) == 0) {
            return property.value(m_snapshot);
        }
    }
    if (strcmp(name, kLastPresence) == 0) {
        return g_variant_new_uint64(static_cast<guint64>(m_pStatus->GetLastPresenceTimeUs()));
    }
    if (strcmp(name, kLastResult) == 0) {
        return g_variant_new_uint64(static_cast<guint64>(m_pStatus->GetLastResultTimeUs()));
    }
    return nullptr;
}

GVariant* CStatusObject::_GetProperty(GDBusConnection* connection, const gchar* sender,
                                      const gchar* objectPath, const gchar* interfaceName,
                                      const gchar* propertyName, GError** error, gpointer user) {
    GVariant* value = static_cast<CStatusObject*>(user)->__Value(propertyName);
    if (value == nullptr) {
        g_set_error(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_PROPERTY, "no property %s",
                    propertyName);
    }
    return value;
}
