# The panel's views: QML files, the C++ items and helpers they use, and the icon set.
# Included from src/CMakeLists.txt after the Tallowfern QML module exists.
