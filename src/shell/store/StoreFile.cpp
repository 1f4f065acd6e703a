#include "StoreFile.h"

#include <QDir>
#include <QFileInfo>

namespace zl::store {

StoreFile::StoreFile(QString path, std::vector<TableSchema> tables, std::span<const zl::sqlite::MigrationStep> schema)
    : path_(std::move(path)),
      tables_(std::move(tables)),
      schema_(schema),
      queue_(QStringLiteral("store %1").arg(QFileInfo(path_).fileName())) {}

StoreFile::~StoreFile() {
    {
        std::lock_guard lock(mutex_);
        blocked_ = false;  // one last try for anything that failed before
    }
    queue_.async([this] {
        drain();
        db_.close();
    });
}

std::shared_future<LoadResult> StoreFile::load() {
    std::call_once(loadOnce_, [this] {
        auto promise = std::make_shared<std::promise<LoadResult>>();
        loadFuture_ = promise->get_future().share();
        queue_.async([this, promise] {
            LoadResult result = doLoad();
            {
                std::lock_guard lock(mutex_);
                usable_ = result.ok;
            }
            promise->set_value(std::move(result));
            drain();  // what was submitted before the content arrived
        });
    });
    return loadFuture_;
}

void StoreFile::submit(WriteBatch batch) {
    if (batch.empty()) return;
    {
        std::lock_guard lock(mutex_);
        pending_.push_back(std::move(batch));
        blocked_ = false;
    }
    queue_.async([this] { drain(); });
}

bool StoreFile::flush() {
    queue_.sync([] {});
    std::lock_guard lock(mutex_);
    return pending_.empty();
}

void StoreFile::retry() {
    {
        std::lock_guard lock(mutex_);
        blocked_ = false;
    }
    queue_.async([this] { drain(); });
}

void StoreFile::setFailureHandler(FailureHandler handler) {
    std::lock_guard lock(mutex_);
    onFailure_ = std::move(handler);
}

bool StoreFile::isUsable() const {
    std::lock_guard lock(mutex_);
    return usable_;
}

void StoreFile::drain() {
    for (;;) {
        WriteBatch batch;
        {
            std::lock_guard lock(mutex_);
            if (!usable_ || blocked_ || pending_.empty()) return;
            batch = pending_.front();
        }
        QString error;
        const bool ok = write(batch, &error);
        FailureHandler handler;
        {
            std::lock_guard lock(mutex_);
            if (ok) {
                pending_.pop_front();
                continue;
            }
            blocked_ = true;
            handler = onFailure_;
        }
        if (handler) handler(error);
        return;
    }
}

LoadResult StoreFile::doLoad() {
    LoadResult result;
    const QFileInfo info(path_);
    if (!QDir().mkpath(info.absolutePath())) {
        result.error = QStringLiteral("Unable to create directory %1").arg(info.absolutePath());
        return result;
    }
    const auto fail = [&](bool withPath) {
        result.error = withPath ? QStringLiteral("%1: %2").arg(path_, db_.error()) : db_.error();
        result.tables.clear();
        db_.close();
        return std::move(result);
    };
    if (!db_.open(path_)) return fail(true);
    db_.setBusyTimeout(2000);
    // A file that isn't a database only shows itself on the first read.
    if (!db_.query(QStringLiteral("PRAGMA journal_mode=WAL")) || !db_.query(QStringLiteral("PRAGMA synchronous=NORMAL")) ||
        !db_.query(QStringLiteral("SELECT count(*) FROM sqlite_master")))
        return fail(true);
    if (!zl::sqlite::migrate(db_, schema_)) return fail(false);
    for (const TableSchema& t : tables_) {
        QStringList cols{QStringLiteral("pk")};
        for (const QString& c : t.columns) cols << QStringLiteral("\"%1\"").arg(c);
        std::vector<StoredRow>& rows = result.tables[t.name];
        const bool ok = db_.query(QStringLiteral("SELECT %1 FROM \"%2\" ORDER BY pk").arg(cols.join(", "), t.name), {},
                                  [&](const zl::sqlite::Statement& row) {
                                      StoredRow stored{row.int64(0), {}};
                                      for (int c = 1; c < row.columnCount(); ++c) stored.values << row.value(c);
                                      rows.push_back(std::move(stored));
                                  });
        if (!ok) return fail(true);
    }
    result.ok = true;
    return result;
}

bool StoreFile::write(const WriteBatch& batch, QString* error) {
    // The statement texts, made once per table and batch: a large import is
    // one batch of many rows.
    std::map<QString, QString> inserts, deletes;
    const bool ok = zl::sqlite::withTransaction(db_, [&] {
        for (const WriteOp& op : batch) {
            const auto schema =
                std::find_if(tables_.begin(), tables_.end(), [&](const TableSchema& t) { return t.name == op.table; });
            if (schema == tables_.end()) return db_.fail(QStringLiteral("no table %1").arg(op.table));
            QVariantList bindings{op.pk};
            if (op.kind == WriteOp::Delete) {
                QString& sql = deletes[op.table];
                if (sql.isEmpty()) sql = QStringLiteral("DELETE FROM \"%1\" WHERE pk = ?").arg(op.table);
                if (!db_.query(sql, bindings)) return false;
                continue;
            }
            QString& sql = inserts[op.table];
            if (sql.isEmpty()) {
                QStringList cols{QStringLiteral("pk")};
                QStringList marks{QStringLiteral("?")};
                for (const QString& c : schema->columns) {
                    cols << QStringLiteral("\"%1\"").arg(c);
                    marks << QStringLiteral("?");
                }
                sql = QStringLiteral("INSERT OR REPLACE INTO \"%1\" (%2) VALUES (%3)")
                          .arg(op.table, cols.join(", "), marks.join(", "));
            }
            for (int i = 0; i < schema->columns.size(); ++i) bindings << op.values.value(i);
            if (!db_.query(sql, bindings)) return false;
        }
        return true;
    });
    if (!ok && error) *error = db_.error();
    return ok;
}

}  // namespace zl::store
