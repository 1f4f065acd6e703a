#pragma once

#include "ScreenContext.h"
#include "store/Entities.h"
#include "ui/UIKit.h"
#include "ui/UIViewController.h"

#include <QPointer>

class AppDelegate;
class ColorForm;

// The azimuth form: a new azimuth, or the one whose id the list handed
// over. Fields are checked on leaving them and again on the button.
class NewAzimuthVC : public UIViewController {
    Q_OBJECT
    ScreenContext context_;  // first, so that every member after it may use it
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation")
    Q_PROPERTY(UIButton* button MEMBER button CONSTANT)
    Q_PROPERTY(UITextField* azimuth MEMBER azimuth CONSTANT)
    Q_PROPERTY(UITextField* distance MEMBER distance CONSTANT)
    Q_PROPERTY(UITextField* pointDesc MEMBER pointDesc CONSTANT)
    Q_PROPERTY(UIView* colorPreview MEMBER colorPreview CONSTANT)
    Q_PROPERTY(UITextField* colorHex MEMBER colorHex CONSTANT)
    Q_PROPERTY(UISlider* redSlider MEMBER redSlider CONSTANT)
    Q_PROPERTY(UISlider* greenSlider MEMBER greenSlider CONSTANT)
    Q_PROPERTY(UISlider* blueSlider MEMBER blueSlider CONSTANT)
    Q_PROPERTY(UITextField* redValue MEMBER redValue CONSTANT)
    Q_PROPERTY(UITextField* greenValue MEMBER greenValue CONSTANT)
    Q_PROPERTY(UITextField* blueValue MEMBER blueValue CONSTANT)
    Q_PROPERTY(UILabel* azimuthLabel MEMBER azimuthLabel CONSTANT)
    Q_PROPERTY(UILabel* distanceLabel MEMBER distanceLabel CONSTANT)
    Q_PROPERTY(UILabel* colorLabel MEMBER colorLabel CONSTANT)
    Q_PROPERTY(UILabel* DescriptionLabel MEMBER DescriptionLabel CONSTANT)
    Q_PROPERTY(UILabel* statusLbl MEMBER statusLbl CONSTANT)

public:
    explicit NewAzimuthVC(const ScreenContext& context, QObject* parent = nullptr);

    void viewDidLoad() override;

    // The button: check the form, then store it.
    Q_INVOKABLE void add();
    // True when every field reads; repaints the labels either way.
    bool validateForm();
    void saveAzimuth();

    // Outlets.
    UIButton* button;
    UITextField* azimuth;
    UITextField* distance;
    UITextField* pointDesc;
    UIView* colorPreview;
    UITextField* colorHex;
    UISlider* redSlider;
    UISlider* greenSlider;
    UISlider* blueSlider;
    UITextField* redValue;
    UITextField* greenValue;
    UITextField* blueValue;
    UILabel* azimuthLabel;
    UILabel* distanceLabel;
    UILabel* colorLabel;
    UILabel* DescriptionLabel;
    // Why the form was refused, when the reason isn't a field in fault.
    UILabel* statusLbl;

    qint64 red = 0;
    qint64 green = 0;
    qint64 blue = 0;
    double azimuthFin = 0.0;
    double distanceFin = 0.0;
    bool useImperialUnits = false;
    QString uuid;
    QPointer<AppDelegate> appDelegate;

    // Slider positions a new azimuth starts from.
    static constexpr int kNewRed = 255, kNewGreen = 0, kNewBlue = 0;

    ColorForm* colorForm() const { return colorForm_; }

private:
    NSManagedObjectContext* context() const;
    void takeColorFromForm();
    void finishSave(NSManagedObjectContext* context);

    ColorForm* colorForm_;
};
