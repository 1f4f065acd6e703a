#include "NewAzimuthVC.h"

#include "AppDelegate.h"
#include "settings/ColorForm.h"
#include "settings/Units.h"
#include "settings/UserDefaults.h"

#include <QDebug>
#include <QUuid>

#include <cmath>
#include <limits>

NewAzimuthVC::NewAzimuthVC(const ScreenContext& context, QObject* parent)
    : UIViewController(parent), context_(context),
      button(new UIButton(this)),
      azimuth(new UITextField(this)),
      distance(new UITextField(this)),
      pointDesc(new UITextField(this)),
      colorPreview(new UIView(this)),
      colorHex(new UITextField(this)),
      redSlider(new UISlider(this)),
      greenSlider(new UISlider(this)),
      blueSlider(new UISlider(this)),
      redValue(new UITextField(this)),
      greenValue(new UITextField(this)),
      blueValue(new UITextField(this)),
      azimuthLabel(new UILabel(this)),
      distanceLabel(new UILabel(this)),
      colorLabel(new UILabel(this)),
      DescriptionLabel(new UILabel(this)),
      statusLbl(new UILabel(this)) {
    appDelegate = context.appDelegate;
    ColorForm::Controls controls;
    controls.slider[0] = redSlider;
    controls.slider[1] = greenSlider;
    controls.slider[2] = blueSlider;
    controls.field[0] = redValue;
    controls.field[1] = greenValue;
    controls.field[2] = blueValue;
    controls.hex = colorHex;
    controls.preview = colorPreview;
    colorForm_ = new ColorForm(controls, /*hexEditable=*/true, this);
    connect(colorForm_, &ColorForm::colorChanged, this, &NewAzimuthVC::takeColorFromForm);
    connect(colorForm_, &ColorForm::componentEdited, this, [this] { validateForm(); });
    connect(azimuth, &UITextField::editingDidEnd, this, [this] { validateForm(); });
    connect(distance, &UITextField::editingDidEnd, this, [this] { validateForm(); });
    connect(button, &UIButton::touchUpInside, this, &NewAzimuthVC::add);
    button->setTitle(tr("add"));
    redSlider->setValue(kNewRed);
    greenSlider->setValue(kNewGreen);
    blueSlider->setValue(kNewBlue);
}

NSManagedObjectContext* NewAzimuthVC::context() const {
    if (!appDelegate) return nullptr;
    return appDelegate->persistentContainer()->viewContext();
}

void NewAzimuthVC::takeColorFromForm() {
    red = colorForm_->red();
    green = colorForm_->green();
    blue = colorForm_->blue();
}

void NewAzimuthVC::viewDidLoad() {
    forceLightStyle();
    azimuthLabel->setText(tr("Azimuth [°]"));
    distanceLabel->setText(tr("Distance [km]"));
    colorLabel->setText(tr("Color"));
    DescriptionLabel->setText(tr("Description"));
    useImperialUnits = (*context_.defaults).boolForKey(SettingsKey::useImperialUnits);
    setTitle(tr("add azimuth"));

    if (NSManagedObjectContext* c = context()) {
        QString error;
        const QList<Azimuth*> found = c->fetchWithId<Azimuth>(uuid, 1, &error);
        if (found.size() == 1) {
            const Azimuth* o = found.first();
            redSlider->setValue(float(o->colorRed()));
            greenSlider->setValue(float(o->colorGreen()));
            blueSlider->setValue(float(o->colorBlue()));
            azimuth->setText(Format::editField(o->azimuth(), 1));
            distance->setText(Format::editField(useImperialUnits ? o->distance() * Units::kmToMiles : o->distance(), 2));
            pointDesc->setText(o->desc());
            button->setTitle(tr("update"));
            setTitle(tr("edit azimuth"));
        }
    }
    // The form takes the sliders as it finds them.
    for (int i = 0; i < 3; ++i) colorForm_->sliderChanged(i);
    if (useImperialUnits) distanceLabel->setText(tr("Distance [mi]"));
}

bool NewAzimuthVC::validateForm() {
    bool ok = true;
    if (const auto a = readDecimalField(azimuth->text())) {
        azimuthFin = *a;
        azimuthLabel->setTextColor(Palette::sound());
    } else {
        azimuthLabel->setTextColor(Palette::fault());
        ok = false;
    }
    if (const auto d = readDecimalField(distance->text())) {
        distanceFin = *d;
        distanceLabel->setTextColor(Palette::sound());
    } else {
        distanceLabel->setTextColor(Palette::fault());
        ok = false;
    }
    const bool colorOk = readIntegerField(redValue->text()) && readIntegerField(greenValue->text()) &&
                         readIntegerField(blueValue->text());
    colorLabel->setTextColor(colorOk ? Palette::sound() : Palette::fault());
    return ok && colorOk;
}

void NewAzimuthVC::add() {
    statusLbl->setText(QString());
    if (validateForm()) saveAzimuth();
}

void NewAzimuthVC::saveAzimuth() {
    NSManagedObjectContext* c = context();
    if (!c) return;
    const double kmFactor = useImperialUnits ? Units::milesToKm : 1.0;
    const QString desc = pointDesc->text().isNull() ? QString(QLatin1String("")) : pointDesc->text();
    if (!uuid.isEmpty()) {
        QString error;
        const QList<Azimuth*> found = c->fetchWithId<Azimuth>(uuid, 1, &error);
        if (found.size() == 1) {
            // An edit keeps whole degrees only; the value must fit 32 bits.
            const double whole = std::trunc(azimuthFin);
            if (!(whole >= double(std::numeric_limits<qint32>::min()) &&
                  whole <= double(std::numeric_limits<qint32>::max()))) {
                azimuthLabel->setTextColor(Palette::fault());
                statusLbl->setText(tr("This azimuth is too large to keep."));
                qWarning().noquote() << "azimuth edit refused: " << azimuthFin << " doesn't fit 32 bits";
                return;
            }
            Azimuth* o = found.first();
            o->setValue(qint32(red), QStringLiteral("colorRed"));
            o->setValue(qint32(green), QStringLiteral("colorGreen"));
            o->setValue(qint32(blue), QStringLiteral("colorBlue"));
            o->setValue(desc, QStringLiteral("desc"));
            o->setValue(double(qint32(whole)), QStringLiteral("azimuth"));
            o->setValue(distanceFin * kmFactor, QStringLiteral("distance"));
        }
        finishSave(c);
        return;
    }
    uuid = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    Azimuth* o = c->insertNewObject<Azimuth>();
    o->setAzimuth(azimuthFin);
    o->setDistance(distanceFin * kmFactor);
    o->setColorRed(qint32(red));
    o->setColorGreen(qint32(green));
    o->setColorBlue(qint32(blue));
    o->setDesc(desc);
    o->setId(uuid);
    o->setIsActive(true);
    finishSave(c);
}

void NewAzimuthVC::finishSave(NSManagedObjectContext* c) {
    QString error;
    if (c->save(&error)) {
        popViewController(true);
        return;
    }
    qDebug().noquote() << "could not save: " + error;
}
