#include "ptpSettingsMaxDistance.h"

#include "settings/Units.h"
#include "settings/UserDefaults.h"

ptpSettingsMaxDistance::ptpSettingsMaxDistance(const ScreenContext& context, QObject* parent)
    : UIViewController(parent), context_(context), label(new UILabel(this)), picker(new UIPickerView(this)) {
    const QStringList digits = {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9"};
    pickerDataDistance = {digits, digits, digits, {QStringLiteral("km"), QStringLiteral("mi")}};
    label->setText(tr("maximum distance of the point lists"));
}

void ptpSettingsMaxDistance::viewDidLoad() {
    forceLightStyle();
    setTitle(tr("maximum distance"));
    picker->setComponents(pickerDataDistance);
    connect(picker, &UIPickerView::didSelectRow, this, [this] { storeDistance(); });
    UserDefaults& defaults = *context_.defaults;
    if (defaults.doubleForKey(SettingsKey::maxDistance) == 0.0) defaults.setDouble(10.0, SettingsKey::maxDistance);
    const double distance = defaults.doubleForKey(SettingsKey::maxDistance);
    showDistance(defaults.boolForKey(SettingsKey::useImperialUnits) ? 1 : 0, distance);
}

void ptpSettingsMaxDistance::showDistance(int unit, double distanceKm) {
    const double value = unit == 1 ? distanceKm * Units::kmToMilesPtp : distanceKm;
    const QString text = Format::printf("%03.0f", value);
    // From 999.5 up the text has four digits and the wheels stay.
    if (text.size() == 3)
        for (int place = 0; place < 3; ++place) picker->selectRow(text.at(place).digitValue(), place, true);
    if (unit < 2) picker->selectRow(unit, 3, true);
}

double ptpSettingsMaxDistance::storeDistance() {
    const int h = picker->selectedRowInComponent(0);
    const int t = picker->selectedRowInComponent(1);
    const int o = picker->selectedRowInComponent(2);
    const int u = picker->selectedRowInComponent(3);
    const double n = h * 100.0 + t * 10.0 + o;
    UserDefaults& defaults = *context_.defaults;
    if (u != 0) {
        defaults.setBool(true, SettingsKey::useImperialUnits);
        defaults.setDouble(n / Units::milesToKmDivisorPtp, SettingsKey::maxDistance);
    } else {
        defaults.setBool(false, SettingsKey::useImperialUnits);
        defaults.setDouble(n, SettingsKey::maxDistance);
    }
    return n;
}
