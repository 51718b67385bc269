#pragma once

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

namespace VDIFrameworkCommon::platform {

/// The functions of GIO and of the libraries beneath it that are used here.
///
/// They are found when they are first needed: linked in the usual way, GIO would more than double the time that a
/// process takes to start, and few processes of this library ever look for an application.
struct Gio {
    decltype(&g_app_info_get_executable) appInfoGetExecutable;
    decltype(&g_bus_get_sync) busGetSync;
    decltype(&g_dbus_connection_set_exit_on_close) dbusConnectionSetExitOnClose;
    decltype(&g_desktop_app_info_get_filename) desktopAppInfoGetFilename;
    decltype(&g_desktop_app_info_launch_uris_as_manager) desktopAppInfoLaunchUrisAsManager;
    decltype(&g_desktop_app_info_new) desktopAppInfoNew;
    decltype(&g_find_program_in_path) findProgramInPath;
    decltype(&g_free) free;
    decltype(&g_main_context_iteration) mainContextIteration;
    decltype(&g_main_context_new) mainContextNew;
    decltype(&g_main_context_pop_thread_default) mainContextPopThreadDefault;
    decltype(&g_main_context_push_thread_default) mainContextPushThreadDefault;
    decltype(&g_object_unref) objectUnref;
};

/// The loaded functions; null where GIO is not installed. Thread-safe. The first call loads, and may take milliseconds.
const Gio* gio() noexcept;

}  // namespace VDIFrameworkCommon::platform
