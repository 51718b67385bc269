# The files of the desktop's back end: for the library on that system, and for its tests elsewhere.
set(VDI_DARWIN_BACK_END "")
foreach(file
    CaseTablesDarwin.cpp
    FileCopyDarwin.cpp
    LauncherDarwin.mm
    PathsDarwin.cpp
    ProcessBarrierDarwin.cpp
    RelativeWaitDarwin.cpp
    RunLoopDarwin.cpp
    RunningApplicationsDarwin.mm
    SystemLogDarwin.mm
    ThreadNamingDarwin.cpp)
    list(APPEND VDI_DARWIN_BACK_END "${CMAKE_CURRENT_LIST_DIR}/${file}")
endforeach()
