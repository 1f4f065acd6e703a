#pragma once

#include "SerialQueue.h"
#include "SqliteConnection.h"

#include <QString>
#include <QStringList>
#include <QVariantList>

#include <deque>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <span>
#include <vector>

namespace zl::store {

// A table of a store file: an integer key "pk" (which is also the store
// order) and the named columns.
struct TableSchema {
    QString name;
    QStringList columns;
};

using Row = QVariantList;  // values in column order

struct StoredRow {
    qint64 pk = 0;
    Row values;
};

struct WriteOp {
    enum Kind { Insert, Update, Delete };
    Kind kind = Insert;
    QString table;
    qint64 pk = 0;
    Row values;  // Insert and Update
};
using WriteBatch = std::vector<WriteOp>;

struct LoadResult {
    bool ok = false;
    QString error;
    std::map<QString, std::vector<StoredRow>> tables;
};

// A SQLite file whose whole content the caller mirrors in memory. Reading
// happens once, at load; afterwards every change arrives as a batch that the
// file's serial queue writes in one transaction, so the caller never waits
// on the disk. A batch that fails stays queued and is tried again with the
// next one: changes are never dropped while the process lives.
class StoreFile {
public:
    using FailureHandler = std::function<void(const QString& error)>;  // called on the writer queue

    StoreFile(QString path, std::vector<TableSchema> tables, std::span<const zl::sqlite::MigrationStep> schema);
    ~StoreFile();  // writes what is queued, then closes
    StoreFile(const StoreFile&) = delete;
    StoreFile& operator=(const StoreFile&) = delete;

    // Starts opening and reading on the writer queue; the future gives the
    // content. Opening a file that isn't a store, or is newer than this
    // program, fails without touching the file.
    std::shared_future<LoadResult> load();

    // Queues a batch; returns at once.
    void submit(WriteBatch batch);
    // Waits until every queued batch is written or has failed. Returns true
    // when nothing is left in the queue.
    bool flush();
    // Tries the batches that failed before once more.
    void retry();

    void setFailureHandler(FailureHandler handler);
    QString path() const { return path_; }
    bool isUsable() const;  // loaded, and not refused

private:
    // These run on the queue.
    LoadResult doLoad();
    void drain();
    bool write(const WriteBatch& batch, QString* error);

    const QString path_;
    const std::vector<TableSchema> tables_;
    const std::span<const zl::sqlite::MigrationStep> schema_;
    zl::sqlite::Connection db_;  // on the queue only

    mutable std::mutex mutex_;
    std::deque<WriteBatch> pending_;
    bool usable_ = false;
    bool blocked_ = false;  // the head batch failed; wait for news before trying again
    FailureHandler onFailure_;
    std::once_flag loadOnce_;
    std::shared_future<LoadResult> loadFuture_;
    zl::SerialQueue queue_;  // last: runs what is posted before the rest goes
};

}  // namespace zl::store
