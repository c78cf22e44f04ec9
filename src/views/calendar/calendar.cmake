# The calendar dropdown under the header's day picker. Included from views.cmake.
