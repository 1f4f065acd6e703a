// Draws the engine's bundled pictures once: the default pin, the compass
// indicator, the my-location dot and button. Run it to regenerate
// resources/map/*.png; the PNGs are committed, so builds never run it.
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>

#include <cstdio>

namespace {

QImage canvas(int w, int h) {
    QImage img(w, h, QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::transparent);
    return img;
}

// A teardrop pin, red with a dark rim and a dark centre dot. Its shading
// gives the luminosity that a tint keeps.
QImage pin() {
    QImage img = canvas(27, 43);
    QPainter p(&img);
    p.setRenderHint(QPainter::Antialiasing);
    QPainterPath path;
    const double cx = 13.5, cy = 13.5, r = 12.5;
    path.moveTo(cx, 42.0);
    path.cubicTo(cx - 3, 33, cx - r, 24, cx - r, cy);
    path.arcTo(QRectF(cx - r, cy - r, 2 * r, 2 * r), 180, -180);
    path.cubicTo(cx + r, 24, cx + 3, 33, cx, 42.0);
    path.closeSubpath();
    QRadialGradient g(QPointF(cx - 4, cy - 5), 20);
    g.setColorAt(0.0, QColor(255, 110, 100));
    g.setColorAt(1.0, QColor(200, 40, 30));
    p.setBrush(g);
    p.setPen(QPen(QColor(150, 20, 15), 1.0));
    p.drawPath(path);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(120, 15, 10));
    p.drawEllipse(QPointF(cx, cy), 4.5, 4.5);
    return img;
}

QImage compass() {
    QImage img = canvas(40, 40);
    QPainter p(&img);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(QColor(0, 0, 0, 60), 1));
    p.setBrush(QColor(255, 255, 255, 235));
    p.drawEllipse(QRectF(1, 1, 38, 38));
    QPolygonF north{{20, 5}, {26, 20}, {14, 20}};
    QPolygonF south{{20, 35}, {26, 20}, {14, 20}};
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(220, 40, 40));
    p.drawPolygon(north);
    p.setBrush(QColor(150, 150, 150));
    p.drawPolygon(south);
    return img;
}

QImage dot() {
    QImage img = canvas(22, 22);
    QPainter p(&img);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0, 0, 0, 50));
    p.drawEllipse(QRectF(1, 2, 20, 20));
    p.setBrush(Qt::white);
    p.drawEllipse(QRectF(1, 1, 20, 20));
    p.setBrush(QColor(66, 133, 244));
    p.drawEllipse(QRectF(4, 4, 14, 14));
    return img;
}

QImage button() {
    QImage img = canvas(40, 40);
    QPainter p(&img);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(QColor(0, 0, 0, 60), 1));
    p.setBrush(QColor(255, 255, 255, 240));
    p.drawRoundedRect(QRectF(0.5, 0.5, 39, 39), 4, 4);
    p.setPen(QPen(QColor(90, 90, 90), 2));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(QPointF(20, 20), 8, 8);
    p.drawLine(QPointF(20, 6), QPointF(20, 12));
    p.drawLine(QPointF(20, 28), QPointF(20, 34));
    p.drawLine(QPointF(6, 20), QPointF(12, 20));
    p.drawLine(QPointF(28, 20), QPointF(34, 20));
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(90, 90, 90));
    p.drawEllipse(QPointF(20, 20), 3, 3);
    return img;
}

}  // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    const QString dir = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral(".");
    bool ok = pin().save(dir + "/default_marker.png") && compass().save(dir + "/new_compass_indicator.png") &&
              dot().save(dir + "/my_location_dot.png") && button().save(dir + "/my_location_button.png");
    if (!ok) std::fprintf(stderr, "could not write the images to %s\n", qPrintable(dir));
    return ok ? 0 : 1;
}
