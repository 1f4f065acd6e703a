#include "StoreFile.h"

#include <QDir>
#include <QFileInfo>

namespace zl::store {

StoreFile::StoreFile(QString path, std::vector<TableSchema> tables, std::vector<Migration> migrations)
    : path_(std::move(path)), tables_(std::move(tables)), migrations_(std::move(migrations)) {
    loadFuture_ = loadPromise_.get_future().share();
    thread_ = std::thread([this] { run(); });
}

StoreFile::~StoreFile() {
    {
        std::lock_guard lock(mutex_);
        stop_ = true;
        blocked_ = false;  // one last try for anything that failed before
    }
    wake_.notify_all();
    thread_.join();
}

std::shared_future<LoadResult> StoreFile::load() {
    {
        std::lock_guard lock(mutex_);
        loadRequested_ = true;
    }
    wake_.notify_all();
    return loadFuture_;
}

void StoreFile::submit(WriteBatch batch) {
    if (batch.empty()) return;
    {
        std::lock_guard lock(mutex_);
        queue_.push_back(std::move(batch));
        blocked_ = false;
    }
    wake_.notify_all();
}

bool StoreFile::flush() {
    std::unique_lock lock(mutex_);
    idle_.wait(lock, [this] { return !busy_ && (queue_.empty() || blocked_ || !usable_) && (loaded_ || !loadRequested_); });
    return queue_.empty();
}

void StoreFile::retry() {
    {
        std::lock_guard lock(mutex_);
        blocked_ = false;
    }
    wake_.notify_all();
}

void StoreFile::setFailureHandler(FailureHandler handler) {
    std::lock_guard lock(mutex_);
    onFailure_ = std::move(handler);
}

bool StoreFile::isUsable() const {
    std::lock_guard lock(mutex_);
    return usable_;
}

void StoreFile::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] {
            return stop_ || (loadRequested_ && !loaded_) || (loaded_ && usable_ && !queue_.empty() && !blocked_);
        });
        if (loadRequested_ && !loaded_) {
            busy_ = true;
            lock.unlock();
            LoadResult result = doLoad();
            const bool ok = result.ok;
            loadPromise_.set_value(std::move(result));
            lock.lock();
            loaded_ = true;
            usable_ = ok;
            busy_ = false;
            idle_.notify_all();
            continue;
        }
        if (loaded_ && usable_ && !queue_.empty() && !blocked_) {
            WriteBatch batch = queue_.front();
            busy_ = true;
            lock.unlock();
            QString error;
            const bool ok = write(batch, &error);
            lock.lock();
            busy_ = false;
            if (ok) {
                queue_.pop_front();
            } else {
                blocked_ = true;
                FailureHandler handler = onFailure_;
                lock.unlock();
                if (handler) handler(error);
                lock.lock();
            }
            idle_.notify_all();
            continue;
        }
        if (stop_) break;
    }
    if (!loaded_) loadPromise_.set_value(LoadResult{false, QStringLiteral("store closed before it was read"), {}});
    idle_.notify_all();
    lock.unlock();
    db_.close();
}

LoadResult StoreFile::doLoad() {
    LoadResult result;
    const QFileInfo info(path_);
    if (!QDir().mkpath(info.absolutePath())) {
        result.error = QStringLiteral("Unable to create directory %1").arg(info.absolutePath());
        return result;
    }
    QString error;
    if (!db_.open(path_, &error) || !migrate(db_, migrations_, &error)) {
        db_.close();
        result.error = error;
        return result;
    }
    for (const TableSchema& t : tables_) {
        QStringList cols{QStringLiteral("pk")};
        for (const QString& c : t.columns) cols << QStringLiteral("\"%1\"").arg(c);
        std::vector<StoredRow>& rows = result.tables[t.name];
        const bool ok = db_.run(QStringLiteral("SELECT %1 FROM \"%2\" ORDER BY pk").arg(cols.join(", "), t.name), {},
                                [&](const QVariantList& row) {
                                    rows.push_back(StoredRow{row.value(0).toLongLong(), row.mid(1)});
                                },
                                &error);
        if (!ok) {
            db_.close();
            result.error = QStringLiteral("%1: %2").arg(path_, error);
            result.tables.clear();
            return result;
        }
    }
    result.ok = true;
    return result;
}

bool StoreFile::write(const WriteBatch& batch, QString* error) {
    Transaction tx(db_, error);
    if (!tx.ok()) return false;
    for (const WriteOp& op : batch) {
        const auto schema = std::find_if(tables_.begin(), tables_.end(), [&](const TableSchema& t) { return t.name == op.table; });
        if (schema == tables_.end()) {
            if (error) *error = QStringLiteral("no table %1").arg(op.table);
            return false;
        }
        QVariantList bindings{op.pk};
        bool ok = true;
        switch (op.kind) {
        case WriteOp::Insert:
        case WriteOp::Update: {
            QStringList cols{QStringLiteral("pk")};
            QStringList marks{QStringLiteral("?")};
            for (const QString& c : schema->columns) {
                cols << QStringLiteral("\"%1\"").arg(c);
                marks << QStringLiteral("?");
            }
            for (int i = 0; i < schema->columns.size(); ++i) bindings << op.values.value(i);
            ok = db_.run(QStringLiteral("INSERT OR REPLACE INTO \"%1\" (%2) VALUES (%3)")
                             .arg(op.table, cols.join(", "), marks.join(", ")),
                         bindings, error);
            break;
        }
        case WriteOp::Delete:
            ok = db_.run(QStringLiteral("DELETE FROM \"%1\" WHERE pk = ?").arg(op.table), bindings, error);
            break;
        }
        if (!ok) return false;
    }
    return tx.commit(error);
}

}  // namespace zl::store
