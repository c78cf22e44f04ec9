# Headless KWin 5.27 (Plasma): layer-shell, so the panel is a native surface. Input through KWin's
# fake-input protocol (kwin_fake_input), screenshots through its ScreenShot2 interface (a small
# PyGObject script under the system Python, which can pass the pipe along).
find_program(WAYLAND_TEST_KWIN kwin_wayland)
find_program(WAYLAND_TEST_XWAYLAND Xwayland)
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
    pkg_check_modules(KWIN_TEST_WAYLAND QUIET IMPORTED_TARGET wayland-client)
    pkg_get_variable(KWIN_TEST_WAYLAND_SCANNER wayland-scanner wayland_scanner)
endif()
find_package(PlasmaWaylandProtocols QUIET)
if(PlasmaWaylandProtocols_FOUND)
    set(kwin_fake_input_xml ${PLASMA_WAYLAND_PROTOCOLS_DIR}/fake-input.xml)
else()
    find_file(kwin_fake_input_xml fake-input.xml PATHS /usr/share/plasma-wayland-protocols
        NO_DEFAULT_PATH)
endif()

wayland_missing(kwin_missing ${wayland_common_tools} WAYLAND_TEST_KWIN WAYLAND_TEST_XWAYLAND)
if(NOT KWIN_TEST_WAYLAND_FOUND OR NOT KWIN_TEST_WAYLAND_SCANNER)
    list(APPEND kwin_missing "wayland-client and wayland-scanner (libwayland-dev)")
endif()
if(NOT kwin_fake_input_xml OR NOT EXISTS "${kwin_fake_input_xml}")
    list(APPEND kwin_missing "fake-input.xml (plasma-wayland-protocols)")
endif()
if(NOT wayland_gi_result EQUAL 0)
    list(APPEND kwin_missing "python3-gi")
endif()

if(NOT kwin_missing)
    set(kwin_generated ${CMAKE_CURRENT_BINARY_DIR}/kwin-protocols)
    file(MAKE_DIRECTORY ${kwin_generated})
    add_custom_command(
        OUTPUT ${kwin_generated}/fake-input-client-protocol.h
            ${kwin_generated}/fake-input-protocol.c
        COMMAND ${KWIN_TEST_WAYLAND_SCANNER} client-header ${kwin_fake_input_xml}
            ${kwin_generated}/fake-input-client-protocol.h
        COMMAND ${KWIN_TEST_WAYLAND_SCANNER} private-code ${kwin_fake_input_xml}
            ${kwin_generated}/fake-input-protocol.c
        DEPENDS ${kwin_fake_input_xml}
        VERBATIM)
    add_executable(kwin_fake_input kwin_fake_input.c ${kwin_generated}/fake-input-protocol.c
        ${kwin_generated}/fake-input-client-protocol.h)
    target_include_directories(kwin_fake_input PRIVATE ${kwin_generated})
    target_link_libraries(kwin_fake_input PRIVATE PkgConfig::KWIN_TEST_WAYLAND)
endif()
wayland_test(tst_kwin_e2e test_kwin.py "${kwin_missing}" $<TARGET_FILE:kwin_fake_input>)
