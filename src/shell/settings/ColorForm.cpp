#include "ColorForm.h"

#include "Units.h"

#include <cmath>

ColorForm::ColorForm(const Controls& controls, bool hexEditable, QObject* parent)
    : QObject(parent), c_(controls), hexEditable_(hexEditable) {
    for (int i = 0; i < 3; ++i) {
        if (c_.slider[i]) connect(c_.slider[i], &UISlider::valueChanged, this, [this, i] { sliderChanged(i); });
        if (c_.field[i])
            connect(c_.field[i], &UITextField::editingDidEnd, this, [this, i] { componentEditingEnded(i); });
    }
    if (c_.hex) connect(c_.hex, &UITextField::editingDidEnd, this, &ColorForm::hexEditingEnded);
}

void ColorForm::setColor(int red, int green, int blue) {
    const int v[3] = {red, green, blue};
    for (int i = 0; i < 3; ++i) {
        value_[i] = v[i];
        if (c_.field[i]) c_.field[i]->setText(Format::printf("%d", v[i]));
        if (c_.slider[i]) c_.slider[i]->setValue(float(v[i]));
    }
    refreshPreview();
}

void ColorForm::sliderChanged(int index) {
    if (!c_.slider[index]) return;
    value_[index] = int(std::trunc(c_.slider[index]->value()));
    if (c_.field[index]) c_.field[index]->setText(Format::printf("%d", value_[index]));
    refreshPreview();
}

void ColorForm::componentEditingEnded(int index) {
    if (!c_.field[index]) return;
    value_[index] = readIntegerField(c_.field[index]->text()).value_or(0);
    if (c_.slider[index]) c_.slider[index]->setValue(float(value_[index]));
    refreshPreview();
    emit componentEdited(index);
}

std::optional<quint32> ColorForm::scanHex(const QString& text) {
    int i = 0;
    while (i < text.size() && text.at(i).isSpace()) ++i;
    if (i + 1 < text.size() && text.at(i) == u'0' && (text.at(i + 1) == u'x' || text.at(i + 1) == u'X')) i += 2;
    quint64 value = 0;
    int digits = 0;
    for (; i < text.size(); ++i) {
        const int d = QString(text.at(i)).toInt(nullptr, 16);
        const bool isHex = text.at(i).isDigit() || (text.at(i).toLower() >= u'a' && text.at(i).toLower() <= u'f');
        if (!isHex || text.at(i).unicode() > 0x7f) break;
        value = std::min<quint64>(value * 16 + quint64(d), 0xFFFFFFFFull);
        ++digits;
    }
    if (digits == 0) return std::nullopt;
    return quint32(value);
}

void ColorForm::hexEditingEnded() {
    if (!hexEditable_ || !c_.hex) return;
    QString text = c_.hex->text();
    if (!text.startsWith(u'#') || text.size() != 7) return;
    text.remove(u'#');
    const quint32 v = scanHex(text).value_or(0);
    setColor(int((v >> 16) & 0xFF), int((v >> 8) & 0xFF), int(v & 0xFF));
}

void ColorForm::refreshPreview() {
    if (c_.preview) c_.preview->setBackgroundColor(Palette::fromComponents(value_[0], value_[1], value_[2]));
    if (c_.hex) c_.hex->setText(Format::hexColor(value_[0], value_[1], value_[2]));
    emit colorChanged();
}
