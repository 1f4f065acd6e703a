#include "GMSCoordinateTileSource.h"

#include <QPainter>

GMSCoordinateTileSource::GMSCoordinateTileSource(QObject* parent) : GMSTileSource(parent) {
    qRegisterMetaType<GMSTileKey>();
    pool_.setMaxThreadCount(2);
}

GMSCoordinateTileSource::~GMSCoordinateTileSource() { pool_.waitForDone(); }

zl::RequestHandle GMSCoordinateTileSource::requestTile(const GMSTileKey& key, Answer answer) {
    pool_.start([key, answer] {
        if (answer.cancelled()) return;  // no need to draw it
        answer(renderTile(key), true);
    });
    return answer.handle();
}

QImage GMSCoordinateTileSource::renderTile(const GMSTileKey& key) {
    QImage image(256, 256, QImage::Format_ARGB32_Premultiplied);
    QColor background, grid, text;
    switch (key.type) {
    case GMSTileLayerType::Satellite:
        background = QColor(46, 74, 52);
        grid = QColor(90, 120, 96);
        text = QColor(220, 230, 220);
        break;
    case GMSTileLayerType::Terrain:
        background = QColor(222, 214, 186);
        grid = QColor(180, 168, 140);
        text = QColor(90, 80, 60);
        break;
    case GMSTileLayerType::Labels:
        background = Qt::transparent;
        grid = QColor(255, 230, 120, 160);
        text = QColor(255, 255, 255);
        break;
    case GMSTileLayerType::Roadmap:
    default:
        background = QColor(236, 234, 228);
        grid = QColor(200, 198, 190);
        text = QColor(100, 100, 100);
        break;
    }
    image.fill(background);
    QPainter p(&image);
    if (key.type == GMSTileLayerType::Labels) {
        // The label layer: a pair of "roads" and a small name, transparent
        // elsewhere, so the imagery below shows through.
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(QPen(grid, 4));
        p.drawLine(0, 200, 256, 170);
        p.drawLine(60, 0, 90, 256);
        QFont font = p.font();
        font.setPixelSize(12);
        p.setFont(font);
        p.setPen(text);
        p.drawText(QRect(100, 204, 150, 20), Qt::AlignLeft | Qt::AlignVCenter,
                   QStringLiteral("road %1.%2").arg(key.x).arg(key.y));
        return image;
    }
    p.setPen(QPen(grid, 1));
    for (int i = 0; i < 256; i += 64) {
        p.drawLine(i, 0, i, 255);
        p.drawLine(0, i, 255, i);
    }
    p.setPen(QPen(grid.darker(130), 2));
    p.drawRect(1, 1, 254, 254);
    QFont font = p.font();
    font.setPixelSize(18);
    p.setFont(font);
    p.setPen(text);
    p.drawText(QRect(0, 108, 256, 40), Qt::AlignCenter, QStringLiteral("%1/%2/%3").arg(key.zoom).arg(key.x).arg(key.y));
    return image;
}
