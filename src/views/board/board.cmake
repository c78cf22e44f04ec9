# The Board tab: lanes, cards, adding, editing, dragging. Included from views.cmake.
