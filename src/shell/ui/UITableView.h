#pragma once

#include <QAbstractListModel>
#include <QString>
#include <QVariantMap>
#include <QtQml/qqmlregistration.h>

// What a row shows: the cell class (which also picks the QML delegate) and
// the values of the cell's outlets by their names.
struct UITableViewCell {
    QString cellClass;
    QVariantMap fields;
};

// The screen side of a table: sections, rows, cells and the row actions.
class UITableViewDataSource {
public:
    virtual ~UITableViewDataSource() = default;
    virtual int numberOfSections() const { return 1; }
    virtual int numberOfRowsInSection(int section) const = 0;
    virtual QString titleForHeaderInSection(int section) const { return {}; }
    virtual UITableViewCell cellForRowAtIndexPath(int section, int row) const = 0;
    virtual bool canEditRowAtIndexPath(int section, int row) const { return false; }
    virtual void didSelectRowAtIndexPath(int section, int row) {}
    // The swipe action "DELETE".
    virtual void commitDeleteForRowAtIndexPath(int section, int row) {}
    // A control inside a cell changed (a switch, by its outlet name).
    virtual void cellControlChanged(int section, int row, const QString& outlet, const QVariant& value) {}
};

// A table as a flat list model: one item per row, with its section and the
// section's header text, so that a ListView can draw section headers.
// A reload reads only the sections and their row counts; a row's cell is
// asked of the data source when the row is first shown or read, so that a
// table of many rows reloads at once.
class UITableView : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by its screen")
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)

public:
    enum Role {
        SectionRole = Qt::UserRole + 1,
        RowRole,
        SectionTitleRole,   // "<section>|<header>", unique per section for ListView.section
        HeaderTextRole,
        CellClassRole,      // the cell class, e.g. "settingsCellTypeII"
        FieldsRole,         // the cell's outlet values
        DeletableRole,
    };

    explicit UITableView(QObject* parent = nullptr);
    void setDataSource(UITableViewDataSource* source);

    // Reads everything again from the data source.
    Q_INVOKABLE void reloadData();

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // User actions, by flat index.
    Q_INVOKABLE void selectRow(int index);
    Q_INVOKABLE void deleteRow(int index);
    Q_INVOKABLE void setCellControl(int index, const QString& outlet, const QVariant& value);

    // The flat index of a row, -1 when it doesn't exist.
    int indexOf(int section, int row) const;

signals:
    void countChanged();
    // The row was selected and is now deselected with animation.
    void deselectRow(int index);

private:
    struct Section {
        int first;  // flat index of its first row
        int rows;
        QString header;
    };
    struct Place {
        int section = -1;
        int row = -1;
    };
    Place placeOf(int index) const;
    // The row's cell as the source gave it at its first reading since the
    // reload, with the controls the user changed since.
    const UITableViewCell& cellAt(int index) const;

    UITableViewDataSource* source_ = nullptr;
    QList<Section> sections_;
    int count_ = 0;
    mutable QHash<int, UITableViewCell> cells_;
};
