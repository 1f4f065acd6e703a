#pragma once

#include "StoreFile.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QVariant>

#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

// The object store of the point list and the logged tracks: three record
// types, each with the class-level operations the screens call. Records are
// plain values; a write is a short function over the open store that is
// committed in one transaction. The class-level operations take the store
// they work on: the one configuration main() builds and hands to screens.

namespace zl {
class Clock;
namespace store {
class RealmStore;
}
}  // namespace zl

class Realm;
class RealmConfiguration;

// One point of the point list. No primary key: the writers keep `id` unique.
struct realm_ptp {
    QString name;
    QString ptp_description;
    double latitude = 0.0;
    double longitude = 0.0;
    qint64 markerRed = 0;
    qint64 markerGreen = 0;
    qint64 markerBlue = 0;
    QString id;

    qint64 pk = 0;  // store identity, set once the record is added
    QVariant value(const QString& key) const;
    static QString className() { return QStringLiteral("realm_ptp"); }

    static void addPoint(RealmConfiguration& realm, const QString& name, const QString& ptp_description,
                         double latitude, double longitude, qint64 red, qint64 green, qint64 blue, const QString& id);
    static void updatePoint(RealmConfiguration& realm, const QString& id, const QString& name,
                            const QString& ptp_description, double latitude, double longitude, qint64 red,
                            qint64 green, qint64 blue);
    // True only when exactly one record had the id and it was deleted.
    static bool deletePoint(RealmConfiguration& realm, const QString& id);
};

// The head of one logged track; primary key `id`. Dates left unset are
// stamped with the store's clock when the record is added.
struct realmValidation_tracks {
    QString id;
    QDateTime dateStart;
    QDateTime dateStop;
    QString desc;
    double distance = 0.0;
    qint64 colorRed = 0;
    qint64 colorGreen = 0;
    qint64 colorBlue = 0;

    qint64 pk = 0;
    QVariant value(const QString& key) const;
    static QString className() { return QStringLiteral("realmValidation_tracks"); }

    static void addTrack(RealmConfiguration& realm, const QString& id, const QString& desc, qint64 red,
                         qint64 green, qint64 blue);
    static void updateTrack(RealmConfiguration& realm, const QString& id, const QString& desc, qint64 red,
                            qint64 green, qint64 blue);
    static void finishTrack(RealmConfiguration& realm, const QString& id, double distance);
    static void deleteTrack(RealmConfiguration& realm, const QString& id);
    static QList<realmValidation_tracks> trackById(RealmConfiguration& realm, const QString& id);
};

// One logged position; `id` is the owning track's.
struct realmValidation_tracksData {
    QString id;
    QDateTime date;  // stamped when added, if unset
    double latitude = 0.0;
    double longitude = 0.0;

    qint64 pk = 0;
    QVariant value(const QString& key) const;
    static QString className() { return QStringLiteral("realmValidation_tracksData"); }

    static void addTrackPoint(RealmConfiguration& realm, const QString& id, double latitude, double longitude);
    static QList<realmValidation_tracksData> pointsOfTrack(RealmConfiguration& realm, const QString& id);
};

// A snapshot of records in store order, with the query forms the screens use.
template <class T>
class Results {
public:
    Results() = default;
    explicit Results(QList<T> items) : items_(std::move(items)) {}

    qsizetype count() const { return items_.size(); }
    bool isEmpty() const { return items_.isEmpty(); }
    std::optional<T> first() const { return items_.isEmpty() ? std::nullopt : std::optional<T>(items_.first()); }
    const T& operator[](qsizetype i) const { return items_[i]; }
    auto begin() const { return items_.begin(); }
    auto end() const { return items_.end(); }
    const QList<T>& toList() const { return items_; }

    // "<key> = %@" with one argument; other forms match nothing.
    Results filter(const QString& format, const QVariant& argument) const;
    // Stable, so equal keys keep store order.
    Results sorted(const QString& keyPath, bool ascending) const;

private:
    QList<T> items_;
};

// The store at one path with its clock and its serial queue "realmQueue":
// main() builds one, tests build their own. Opening reads the file once;
// the Realms opened afterwards share what was read.
class RealmConfiguration {
public:
    // A null clock is the machine's.
    explicit RealmConfiguration(QString path, zl::Clock* clock = nullptr);
    ~RealmConfiguration();
    RealmConfiguration(const RealmConfiguration&) = delete;
    RealmConfiguration& operator=(const RealmConfiguration&) = delete;

    const QString& path() const { return path_; }
    zl::Clock& clock() const { return *clock_; }

    // Fails (with a message naming the file) when the store can't be read;
    // the next open tries again. Cheap once open.
    std::shared_ptr<Realm> open(QString* error);
    // Waits until everything written so far is on disk.
    bool flush();
    // Closes the store (written first); the next open reads it again.
    void reset();

    // Runs work on "realmQueue", built on first use, and returns when done.
    void syncOnQueue(const std::function<void()>& work);
    QString queueLabel() const;

private:
    const QString path_;
    zl::Clock* clock_;
    mutable std::mutex mutex_;
    std::shared_ptr<zl::store::RealmStore> store_;
    std::unique_ptr<zl::SerialQueue> queue_;
};

// A handle on an open store; cheap, opened as often as wanted.
class Realm {
public:

    Results<realm_ptp> points() const;
    Results<realmValidation_tracks> tracks() const;
    Results<realmValidation_tracksData> trackPoints() const;
    template <class T>
    Results<T> objects() const;

    // Runs body with exclusive access and commits what it did in one
    // transaction. Returns false (and sets error) when body refused.
    bool write(const std::function<bool(Realm& realm, QString* error)>& body, QString* error);

    // Inside write(): add, change (by pk) or delete records.
    void add(realm_ptp& record);
    bool add(realmValidation_tracks& record, QString* error);  // refuses an existing primary key
    void add(realmValidation_tracksData& record);
    void update(const realm_ptp& record);
    void update(const realmValidation_tracks& record);
    void remove(const realm_ptp& record);
    void remove(const Results<realm_ptp>& records);  // all in one pass
    void remove(const realmValidation_tracks& record);
    void remove(const realmValidation_tracksData& record);

    Realm(std::shared_ptr<zl::store::RealmStore> store, zl::Clock& clock) : store_(std::move(store)), clock_(clock) {}

private:
    std::shared_ptr<zl::store::RealmStore> store_;
    zl::Clock& clock_;
    zl::store::WriteBatch* batch_ = nullptr;  // set during write()
};

template <class T>
Results<T> Results<T>::filter(const QString& format, const QVariant& argument) const {
    const QString key = format.section(QLatin1Char('='), 0, 0).trimmed();
    const bool supported = format.contains(QStringLiteral("%@")) && !key.isEmpty();
    QList<T> out;
    if (!supported) return Results(out);
    for (const T& item : items_)
        if (item.value(key) == argument || item.value(key).toString() == argument.toString()) out << item;
    return Results(out);
}

template <class T>
Results<T> Results<T>::sorted(const QString& keyPath, bool ascending) const {
    QList<T> out = items_;
    std::stable_sort(out.begin(), out.end(), [&](const T& a, const T& b) {
        const QVariant va = a.value(keyPath), vb = b.value(keyPath);
        const auto order = QVariant::compare(va, vb);
        return ascending ? order == QPartialOrdering::Less : order == QPartialOrdering::Greater;
    });
    return Results(out);
}

template <>
inline Results<realm_ptp> Realm::objects<realm_ptp>() const { return points(); }
template <>
inline Results<realmValidation_tracks> Realm::objects<realmValidation_tracks>() const { return tracks(); }
template <>
inline Results<realmValidation_tracksData> Realm::objects<realmValidation_tracksData>() const { return trackPoints(); }
