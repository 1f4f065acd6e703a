// The colour rules shared by the three colour forms.

#include "settings/ColorForm.h"
#include "settings/Units.h"

#include <gtest/gtest.h>

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
    UISlider sliders[3];
    UITextField fields[3];
    UITextField hex;
    UIView preview;
    ColorForm::Controls c;
    std::unique_ptr<ColorForm> form;
};

}  // namespace

TEST(ColorFormTest, SliderTruncatesTowardZeroAndWritesTheField) {
    Form f(true);
    f.sliders[ColorForm::Green].userSlide(200.9f);
    EXPECT_EQ(f.form->green(), 200);
    EXPECT_EQ(f.fields[ColorForm::Green].text(), "200");
    EXPECT_EQ(f.hex.text(), "#00C800");
    EXPECT_EQ(f.preview.backgroundColor(), Palette::fromComponents(0, 200, 0));
}

TEST(ColorFormTest, ComponentFieldStoresUnclampedOrZeroAndAsksForValidation) {
    Form f(true);
    int validations = 0;
    QObject::connect(f.form.get(), &ColorForm::componentEdited, [&] { ++validations; });
    f.fields[ColorForm::Red].userEdit("300");
    f.fields[ColorForm::Red].endEditing();
    EXPECT_EQ(f.form->red(), 300) << "not clamped";
    EXPECT_EQ(f.fields[ColorForm::Red].text(), "300");
    EXPECT_EQ(f.sliders[ColorForm::Red].value(), 255.0f) << "the slider shows its maximum";
    EXPECT_EQ(f.hex.text(), "#12C0000");
    f.fields[ColorForm::Blue].userEdit("abc");
    f.fields[ColorForm::Blue].endEditing();
    EXPECT_EQ(f.form->blue(), 0);
    EXPECT_EQ(f.sliders[ColorForm::Blue].value(), 0.0f);
    EXPECT_EQ(validations, 2);
}

TEST(ColorFormTest, HexFieldTakesOnlyHashAndSixMore) {
    Form f(true);
    f.form->setColor(1, 2, 3);
    for (const char* ignored : {"#12345", "123456", "#1234567", ""}) {
        f.hex.userEdit(ignored);
        f.hex.endEditing();
        EXPECT_EQ(f.form->red(), 1) << ignored;
        EXPECT_EQ(f.hex.text(), ignored) << "the other controls stay: " << ignored;
    }
    f.hex.userEdit("#FF8000");
    f.hex.endEditing();
    EXPECT_EQ(f.form->red(), 255);
    EXPECT_EQ(f.form->green(), 128);
    EXPECT_EQ(f.form->blue(), 0);
    EXPECT_EQ(f.fields[ColorForm::Green].text(), "128");
    EXPECT_EQ(f.sliders[ColorForm::Red].value(), 255.0f);
    f.hex.userEdit("#GGGGGG");
    f.hex.endEditing();
    EXPECT_EQ(f.form->red(), 0);
    EXPECT_EQ(f.form->green(), 0);
    EXPECT_EQ(f.form->blue(), 0);
    EXPECT_EQ(f.hex.text(), "#000000");
    // Every "#" goes; the scanner reads the hex digits it finds first.
    f.hex.userEdit("#12#456");
    f.hex.endEditing();
    EXPECT_EQ(f.form->red(), 0x01);
    EXPECT_EQ(f.form->green(), 0x24);
    EXPECT_EQ(f.form->blue(), 0x56);
    f.hex.userEdit("#ab12zz");
    f.hex.endEditing();
    EXPECT_EQ(f.form->green(), 0xab);
    EXPECT_EQ(f.form->blue(), 0x12);
}

TEST(ColorFormTest, AnOutputHexFieldIgnoresEditing) {
    Form f(false);
    f.form->setColor(10, 20, 30);
    f.hex.userEdit("#FFFFFF");
    f.hex.endEditing();
    EXPECT_EQ(f.form->red(), 10);
}

TEST(ColorFormTest, ScannerLikeThePlatformsOne) {
    EXPECT_EQ(ColorForm::scanHex("0x1F").value(), 0x1Fu);
    EXPECT_EQ(ColorForm::scanHex("  ff").value(), 0xFFu);
    EXPECT_EQ(ColorForm::scanHex("12zz").value(), 0x12u);
    EXPECT_FALSE(ColorForm::scanHex("zz").has_value());
    EXPECT_FALSE(ColorForm::scanHex("").has_value());
    EXPECT_EQ(ColorForm::scanHex("FFFFFFFFFF").value(), 0xFFFFFFFFu) << "overflow saturates";
}
