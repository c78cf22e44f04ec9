# Headless mutter 43 (GNOME): no layer-shell, so the panel runs through XWayland. Input through
# mutter's RemoteDesktop interface (held by a small PyGObject script under the system Python),
# screenshots put together from the app's X windows with xwd.
find_program(WAYLAND_TEST_MUTTER mutter)
find_program(WAYLAND_TEST_XWD xwd)
find_program(WAYLAND_TEST_XWININFO xwininfo)
find_program(WAYLAND_TEST_XWAYLAND Xwayland)

set(mutter_missing "")
foreach(tool IN ITEMS WAYLAND_TEST_PYTHON WAYLAND_TEST_SETPRIV WAYLAND_TEST_DBUS_DAEMON
        WAYLAND_TEST_GDBUS WAYLAND_TEST_MUTTER WAYLAND_TEST_XWD WAYLAND_TEST_XWININFO
        WAYLAND_TEST_XWAYLAND)
    if(NOT ${tool})
        string(REPLACE "WAYLAND_TEST_" "" name ${tool})
        string(TOLOWER ${name} name)
        list(APPEND mutter_missing ${name})
    endif()
endforeach()
execute_process(COMMAND /usr/bin/python3 -c "import gi; gi.require_version('Gio', '2.0')"
    RESULT_VARIABLE mutter_gi_result OUTPUT_QUIET ERROR_QUIET)
if(NOT mutter_gi_result EQUAL 0)
    list(APPEND mutter_missing "python3-gi")
endif()

if(mutter_missing)
    message(STATUS "tst_mutter_e2e not registered: missing ${mutter_missing}")
else()
    add_test(NAME tst_mutter_e2e
        COMMAND ${WAYLAND_TEST_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/test_mutter.py
            $<TARGET_FILE:tallowfern> $<TARGET_FILE:wayland_click_recorder>
            ${CMAKE_CURRENT_BINARY_DIR}/artifacts-tst_mutter_e2e)
    set_tests_properties(tst_mutter_e2e PROPERTIES
        LABELS "wayland" TIMEOUT 300 SKIP_RETURN_CODE 77)
endif()
