#include <dlfcn.h>

#include "Gio.h"

namespace VDIFrameworkCommon::platform {

namespace {

template <typename Function>
bool find(void* library, const char* name, Function& function) noexcept {
    function = reinterpret_cast<Function>(::dlsym(library, name));
    return function != nullptr;
}

bool load(Gio& functions) noexcept {
    // Never unloaded: GIO starts threads that outlive every use.
    void* const library = ::dlopen("libgio-2.0.so.0", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    return library != nullptr && find(library, "g_app_info_get_executable", functions.appInfoGetExecutable) &&
           find(library, "g_bus_get_sync", functions.busGetSync) &&
           find(library, "g_dbus_connection_set_exit_on_close", functions.dbusConnectionSetExitOnClose) &&
           find(library, "g_main_context_iteration", functions.mainContextIteration) &&
           find(library, "g_main_context_new", functions.mainContextNew) &&
           find(library, "g_main_context_pop_thread_default", functions.mainContextPopThreadDefault) &&
           find(library, "g_main_context_push_thread_default", functions.mainContextPushThreadDefault) &&
           find(library, "g_desktop_app_info_get_filename", functions.desktopAppInfoGetFilename) &&
           find(library, "g_desktop_app_info_launch_uris_as_manager", functions.desktopAppInfoLaunchUrisAsManager) &&
           find(library, "g_desktop_app_info_new", functions.desktopAppInfoNew) &&
           find(library, "g_find_program_in_path", functions.findProgramInPath) &&
           find(library, "g_free", functions.free) && find(library, "g_object_unref", functions.objectUnref);
}

}  // namespace

const Gio* gio() noexcept {
    static Gio functions{};
    static const bool loaded = load(functions);
    return loaded ? &functions : nullptr;
}

}  // namespace VDIFrameworkCommon::platform
