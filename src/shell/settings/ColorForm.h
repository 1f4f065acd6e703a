#pragma once

#include "ui/UIKit.h"

#include <QObject>

// The three controls that show one colour on a form (a slider and a text
// field per component, a hex field and a preview) and the rules that keep
// them in step. Every colour form of the app uses this one piece.
class ColorForm : public QObject {
    Q_OBJECT

public:
    enum ComponentIndex { Red = 0, Green = 1, Blue = 2 };

    struct Controls {
        UISlider* slider[3] = {};
        UITextField* field[3] = {};
        UITextField* hex = nullptr;
        UIView* preview = nullptr;
    };

    // With hexEditable false the hex field is only an output and editing it
    // does nothing.
    ColorForm(const Controls& controls, bool hexEditable, QObject* parent = nullptr);

    int component(int index) const { return value_[index]; }
    int red() const { return value_[Red]; }
    int green() const { return value_[Green]; }
    int blue() const { return value_[Blue]; }

    // Shows a stored colour in every control.
    void setColor(int red, int green, int blue);

    // The user moved a slider: its value, truncated toward zero, is stored
    // and written to the component's field.
    void sliderChanged(int index);
    // The user left a component's field: a decimal integer is stored as it
    // is (not clamped); anything else stores 0.
    void componentEditingEnded(int index);
    // The user left the hex field: only "#" and six more characters count;
    // the rest is read as hexadecimal (0 if it isn't).
    void hexEditingEnded();
    // The preview takes the colour and the hex field its text.
    void refreshPreview();

    // Reads a hexadecimal number the way the platform's scanner does:
    // leading blanks, an optional "0x", then as many hex digits as there are.
    static std::optional<quint32> scanHex(const QString& text);

signals:
    // A component's field was edited (the azimuth editor validates here).
    void componentEdited(int index);
    void colorChanged();

private:
    Controls c_;
    bool hexEditable_;
    int value_[3] = {0, 0, 0};
};
