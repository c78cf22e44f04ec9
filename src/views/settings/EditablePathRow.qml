import QtQuick
import Tallowfern

// A folder setting whose path can also be typed: Return or leaving the field applies it.
PathRow {
    required field

    value: field.value
}
