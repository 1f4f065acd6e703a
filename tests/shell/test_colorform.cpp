// The colour rules shared by the three colour forms.

#include "settings/ColorForm.h"
#include "settings/Units.h"

#include <gtest/gtest.h>

#include <array>

namespace {

struct Form {
    explicit Form(bool hexEditable) {
        for (int i = 0; i < 3; ++i) {
            c.slider[i] = &sliders[i];
            c.field[i] = &fields[i];
        }
        c.hex = &hex;
        c.preview = &preview;
        form = std::make_unique<ColorForm>(c, hexEditable);
    }
    static void type(UITextField& field, const QString& text) {
        field.userEdit(text);
        field.endEditing();
    }
    void typeHex(const QString& text) { type(hex, text); }
    std::array<int, 3> rgb() const { return {form->red(), form->green(), form->blue()}; }
    UISlider sliders[3];
    UITextField fields[3];
    UITextField hex;
    UIView preview;
    ColorForm::Controls c;
    std::unique_ptr<ColorForm> form;
};

}  // namespace

TEST(ColorFormTest, SliderTruncatesFieldsStoreUnclampedOrZeroAndTheHexFieldTakesOnlyHashAndSixMore) {
    Form f(true);
    f.sliders[ColorForm::Green].userSlide(200.9f);
    EXPECT_EQ(std::tuple(f.form->green(), f.fields[ColorForm::Green].text(), f.hex.text(), f.preview.backgroundColor()),
              std::tuple(200, QString("200"), QString("#00C800"), Palette::fromComponents(0, 200, 0)));

    int validations = 0;
    QObject::connect(f.form.get(), &ColorForm::componentEdited, [&] { ++validations; });
    f.type(f.fields[ColorForm::Red], "300");
    // Not clamped; the slider shows its maximum.
    EXPECT_EQ(std::tuple(f.form->red(), f.sliders[ColorForm::Red].value(), f.hex.text()),
              std::tuple(300, 255.0f, QString("#12CC800")));
    f.type(f.fields[ColorForm::Blue], "abc");
    EXPECT_EQ(std::tuple(f.form->blue(), f.sliders[ColorForm::Blue].value(), validations), std::tuple(0, 0.0f, 2));

    // The hex field takes only "#" and six more, read by a scanner like the platform's one.
    f.form->setColor(1, 2, 3);
    for (const char* ignored : {"#12345", "123456", "#1234567", ""}) {
        f.typeHex(ignored);
        EXPECT_EQ(std::pair(f.form->red(), f.hex.text()), std::pair(1, QString(ignored))) << "the other controls stay";
    }
    f.typeHex("#FF8000");
    EXPECT_EQ(std::pair(f.rgb(), f.fields[ColorForm::Green].text()),
              std::pair(std::array{255, 128, 0}, QString("128")));
    f.typeHex("#GGGGGG");
    EXPECT_EQ(std::pair(f.rgb(), f.hex.text()), std::pair(std::array{0, 0, 0}, QString("#000000")));
    // Every "#" goes; the scanner reads the hex digits it finds first.
    f.typeHex("#12#456");
    EXPECT_EQ(f.rgb(), (std::array{0x01, 0x24, 0x56}));

    Form output(false);  // an output hex field ignores editing
    output.form->setColor(10, 20, 30);
    output.typeHex("#FFFFFF");
    EXPECT_EQ(output.rgb(), (std::array{10, 20, 30}));

    const std::pair<const char*, std::optional<quint32>> cases[] = {
        {"0x1F", 0x1Fu}, {"  ff", 0xFFu}, {"12zz", 0x12u}, {"zz", {}}, {"", {}}, {"FFFFFFFFFF", 0xFFFFFFFFu} /* saturates */};
    for (const auto& [text, value] : cases)
        EXPECT_EQ(ColorForm::scanHex(text), value) << text;
}

