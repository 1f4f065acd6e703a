#include "UITableView.h"

#include <algorithm>

UITableView::UITableView(QObject* parent) : QAbstractListModel(parent) {}

void UITableView::setDataSource(UITableViewDataSource* source) {
    source_ = source;
    reloadData();
}

void UITableView::reloadData() {
    beginResetModel();
    sections_.clear();
    cells_.clear();
    count_ = 0;
    if (source_) {
        for (int s = 0; s < source_->numberOfSections(); ++s) {
            const int rows = std::max(0, source_->numberOfRowsInSection(s));
            sections_.append({count_, rows, source_->titleForHeaderInSection(s)});
            count_ += rows;
        }
    }
    endResetModel();
    emit countChanged();
}

UITableView::Place UITableView::placeOf(int index) const {
    if (index < 0 || index >= count_) return {};
    // The last section that starts at or before the index.
    const auto after = std::upper_bound(sections_.begin(), sections_.end(), index,
                                        [](int i, const Section& s) { return i < s.first; });
    const Section& section = *(after - 1);
    return {int(after - sections_.begin()) - 1, index - section.first};
}

const UITableViewCell& UITableView::cellAt(int index) const {
    auto hit = cells_.find(index);
    if (hit == cells_.end()) {
        const Place p = placeOf(index);
        UITableViewCell cell;
        // A source that shrank without reloading yet has no such row.
        if (source_ && p.row < source_->numberOfRowsInSection(p.section))
            cell = source_->cellForRowAtIndexPath(p.section, p.row);
        hit = cells_.insert(index, cell);
    }
    return *hit;
}

int UITableView::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : count_; }

QVariant UITableView::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) return {};
    const Place p = placeOf(index.row());
    const Section& section = sections_.at(p.section);
    switch (role) {
    case SectionRole: return p.section;
    case RowRole: return p.row;
    case SectionTitleRole: return QStringLiteral("%1|%2").arg(p.section).arg(section.header);
    case HeaderTextRole: return section.header;
    case CellClassRole:
    case Qt::DisplayRole: return cellAt(index.row()).cellClass;
    case FieldsRole: return cellAt(index.row()).fields;
    case DeletableRole: return source_ && source_->canEditRowAtIndexPath(p.section, p.row);
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
    if (section < 0 || section >= sections_.size() || row < 0 || row >= sections_[section].rows) return -1;
    return sections_[section].first + row;
}

void UITableView::selectRow(int index) {
    const Place p = placeOf(index);
    if (!source_ || p.section < 0) return;
    emit deselectRow(index);
    source_->didSelectRowAtIndexPath(p.section, p.row);
}

void UITableView::deleteRow(int index) {
    const Place p = placeOf(index);
    if (!source_ || p.section < 0 || !source_->canEditRowAtIndexPath(p.section, p.row)) return;
    source_->commitDeleteForRowAtIndexPath(p.section, p.row);
}

void UITableView::setCellControl(int index, const QString& outlet, const QVariant& value) {
    const Place p = placeOf(index);
    if (!source_ || p.section < 0) return;
    cellAt(index);
    cells_[index].fields.insert(outlet, value);
    source_->cellControlChanged(p.section, p.row, outlet, value);
}
