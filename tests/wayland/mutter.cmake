# Headless mutter 43 (GNOME): no layer-shell, so the panel runs through XWayland. Input through
# mutter's RemoteDesktop interface (held by a small PyGObject script under the system Python),
# screenshots put together from the app's X windows with xwd.
find_program(WAYLAND_TEST_MUTTER mutter)
find_program(WAYLAND_TEST_XWD xwd)
find_program(WAYLAND_TEST_XWININFO xwininfo)
find_program(WAYLAND_TEST_XWAYLAND Xwayland)

wayland_missing(mutter_missing ${wayland_common_tools} WAYLAND_TEST_MUTTER WAYLAND_TEST_XWD
    WAYLAND_TEST_XWININFO WAYLAND_TEST_XWAYLAND)
if(NOT wayland_gi_result EQUAL 0)
    list(APPEND mutter_missing "python3-gi")
endif()
wayland_test(tst_mutter_e2e test_mutter.py "${mutter_missing}")
