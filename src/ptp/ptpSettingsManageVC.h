#pragma once

#include "ptpSettingsList.h"

// The editing twin of the point list: the same rows under the same rules,
// read afresh at each appearance so that an edit shows on return; a tap
// opens the marker editor on the point, "+" opens it for a new one, and a
// swipe deletes at once.
class ptpSettingsManageVC : public PointListScreen {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation")

public:
    explicit ptpSettingsManageVC(const ScreenContext& context, QObject* parent = nullptr);

    void viewDidLoad() override;
    void viewWillAppear(bool animated) override;
    void prepareForSegue(UIStoryboardSegue& segue, const QVariant& sender) override;

    bool canEditRowAtIndexPath(int, int) const override { return true; }
    void didSelectRowAtIndexPath(int section, int row) override;
    void commitDeleteForRowAtIndexPath(int section, int row) override;

    // The add button: the editor for a new point.
    Q_INVOKABLE void addPoint();

    // Hands the point over to the marker editor: an integer sender is the
    // row to edit, anything else adds a point. Editor is the editor's class
    // or any type with its fields. False when the row doesn't exist.
    template <class Editor>
    bool fillEditor(Editor& editor, const QVariant& sender) const;

protected:
    void willLoad() override { entries.clear(); }
};

template <class Editor>
bool ptpSettingsManageVC::fillEditor(Editor& editor, const QVariant& sender) const {
    // The editor's modes: 2 adds a point, 3 edits one.
    using Mode = decltype(editor.mode);
    if (sender.typeId() != QMetaType::Int) {
        editor.mode = static_cast<Mode>(2);
        return true;
    }
    const int row = sender.toInt();
    if (row < 0 || row >= filtred.size()) return false;
    const dbEntries& point = filtred.at(row);
    editor.mode = static_cast<Mode>(3);
    editor.valueRed = static_cast<decltype(editor.valueRed)>(point.markerRed);
    editor.valueGreen = static_cast<decltype(editor.valueGreen)>(point.markerGreen);
    editor.valueBlue = static_cast<decltype(editor.valueBlue)>(point.markerBlue);
    editor.id = point.id;
    editor.name = point.name;
    editor.desc = point.desc;
    editor.latitude = point.latitude;
    editor.longitude = point.longitude;
    return true;
}
