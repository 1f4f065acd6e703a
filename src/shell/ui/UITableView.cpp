#include "UITableView.h"

UITableView::UITableView(QObject* parent) : QAbstractListModel(parent) {}

void UITableView::setDataSource(UITableViewDataSource* source) {
    source_ = source;
    reloadData();
}

void UITableView::reloadData() {
    beginResetModel();
    items_.clear();
    if (source_) {
        for (int s = 0; s < source_->numberOfSections(); ++s) {
            const QString header = source_->titleForHeaderInSection(s);
            for (int r = 0; r < source_->numberOfRowsInSection(s); ++r)
                items_.append({s, r, header, source_->cellForRowAtIndexPath(s, r), source_->canEditRowAtIndexPath(s, r)});
        }
    }
    endResetModel();
    emit countChanged();
}

int UITableView::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : int(items_.size()); }

QVariant UITableView::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) return {};
    const Item& item = items_.at(index.row());
    switch (role) {
    case SectionRole: return item.section;
    case RowRole: return item.row;
    case SectionTitleRole: return QStringLiteral("%1|%2").arg(item.section).arg(item.header);
    case HeaderTextRole: return item.header;
    case CellClassRole:
    case Qt::DisplayRole: return item.cell.cellClass;
    case FieldsRole: return item.cell.fields;
    case DeletableRole: return item.deletable;
    default: return {};
    }
}

QHash<int, QByteArray> UITableView::roleNames() const {
    return {{SectionRole, "section"},         {RowRole, "row"},
            {SectionTitleRole, "sectionKey"}, {HeaderTextRole, "headerText"},
            {CellClassRole, "cellClass"},     {FieldsRole, "fields"},
            {DeletableRole, "deletable"}};
}

int UITableView::indexOf(int section, int row) const {
    for (int i = 0; i < items_.size(); ++i)
        if (items_[i].section == section && items_[i].row == row) return i;
    return -1;
}

void UITableView::selectRow(int index) {
    if (!source_ || index < 0 || index >= items_.size()) return;
    const Item item = items_.at(index);
    emit deselectRow(index);
    source_->didSelectRowAtIndexPath(item.section, item.row);
}

void UITableView::deleteRow(int index) {
    if (!source_ || index < 0 || index >= items_.size() || !items_.at(index).deletable) return;
    const Item item = items_.at(index);
    source_->commitDeleteForRowAtIndexPath(item.section, item.row);
}

void UITableView::setCellControl(int index, const QString& outlet, const QVariant& value) {
    if (!source_ || index < 0 || index >= items_.size()) return;
    Item& item = items_[index];
    item.cell.fields.insert(outlet, value);
    source_->cellControlChanged(item.section, item.row, outlet, value);
}
