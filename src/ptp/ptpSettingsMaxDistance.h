#pragma once

#include "ScreenContext.h"
#include "ui/UIKit.h"
#include "ui/UIViewController.h"

// The radius of the point lists on four wheels: hundreds, tens, ones and
// the unit. Every turn is stored at once, always in kilometres; the unit
// wheel also sets the system's one distance unit.
class ptpSettingsMaxDistance : public UIViewController {
    Q_OBJECT
    ScreenContext context_;  // first, so that every member after it may use it
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation")
    Q_PROPERTY(UILabel* label MEMBER label CONSTANT)
    Q_PROPERTY(UIPickerView* picker MEMBER picker CONSTANT)

public:
    explicit ptpSettingsMaxDistance(const ScreenContext& context, QObject* parent = nullptr);

    void viewDidLoad() override;

    // The number on the wheels, stored with the unit wheel's meaning.
    double storeDistance();
    // Puts a distance (km) on the wheels in a unit (1 miles, 0 km).
    void showDistance(int unit, double distanceKm);

    UILabel* label;
    UIPickerView* picker;
    QList<QStringList> pickerDataDistance;
};
