// What the TV is showing: the application in front and, for the TV viewer,
// the input source and the device connected to it.
#ifndef TESSIVO_SERVICEMANAGER_APPSESSIONINFO_H
#define TESSIVO_SERVICEMANAGER_APPSESSIONINFO_H

#include <string>

struct AppSessionInfo {
    // The application id, or "org.tizen.tv-viewer:SOURCE" for the TV viewer
    // on a known source.
    std::string sessionName;
    // The same text as deviceName.
    std::string sessionDevice;
    // The application id as the data service reports it.
    std::string appId;
    // The TV viewer's input source ("HDMI1", "TV+", "LiveTV", ...).
    std::string source;
    // The device on that source; empty unless the TV viewer is in front.
    std::string deviceName;
};

// Called when the session changes, with the new record, the one it replaces
// and the user data given at registration.
typedef void (*AppSessionCB)(AppSessionInfo* current, AppSessionInfo* previous, void* user);

#endif
