import QtQuick
import Tavro.UI

CardSurface {
    id: surface

    default property alias rows: column.data

    implicitHeight: column.height + 32

    Column {
        id: column

        x: 16
        y: 16
        width: surface.width - 32
        spacing: 10
    }
}
