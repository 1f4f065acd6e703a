import QtQuick
Item { implicitHeight: 48 }
