#pragma once

#include "StoreFile.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QVariant>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>

// The object store of the point list and the logged tracks: three record
// types, each with the class-level operations the screens call. Records are
// plain values; a write is a short function over the open store that is
// committed in one transaction.

namespace zl::store {
class RealmStore;
}

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

    static void addPoint(const QString& name, const QString& ptp_description, double latitude, double longitude,
                         qint64 red, qint64 green, qint64 blue, const QString& id);
    static void updatePoint(const QString& id, const QString& name, const QString& ptp_description, double latitude,
                            double longitude, qint64 red, qint64 green, qint64 blue);
    static void deletePoint(const QString& id);
};

// The head of one logged track; primary key `id`.
struct realmValidation_tracks {
    QString id;
    QDateTime dateStart = QDateTime::currentDateTimeUtc();
    QDateTime dateStop = dateStart;
    QString desc;
    double distance = 0.0;
    qint64 colorRed = 0;
    qint64 colorGreen = 0;
    qint64 colorBlue = 0;

    qint64 pk = 0;
    QVariant value(const QString& key) const;
    static QString className() { return QStringLiteral("realmValidation_tracks"); }

    static void addTrack(const QString& id, const QString& desc, qint64 red, qint64 green, qint64 blue);
    static void updateTrack(const QString& id, const QString& desc, qint64 red, qint64 green, qint64 blue);
    static void finishTrack(const QString& id, double distance);
    static void deleteTrack(const QString& id);
    static QList<realmValidation_tracks> trackById(const QString& id);
};

// One logged position; `id` is the owning track's.
struct realmValidation_tracksData {
    QString id;
    QDateTime date = QDateTime::currentDateTimeUtc();
    double latitude = 0.0;
    double longitude = 0.0;

    qint64 pk = 0;
    QVariant value(const QString& key) const;
    static QString className() { return QStringLiteral("realmValidation_tracksData"); }

    static void addTrackPoint(const QString& id, double latitude, double longitude);
    static QList<realmValidation_tracksData> pointsOfTrack(const QString& id);
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

// A handle on the default store. Opening fails when the store file couldn't
// be read; the handle is cheap and may be opened as often as wanted.
class Realm {
public:
    static std::shared_ptr<Realm> open(QString* error);

    // Where the default store lives (set once at start; tests point it at a
    // temporary folder). Changing it closes the previous store.
    static void setDefaultPath(const QString& path);
    static QString defaultPath();
    // Waits until everything written so far is on disk.
    static bool flush();
    // Closes the default store (written first); the next open reads it again.
    static void reset();

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
    void remove(const realmValidation_tracks& record);
    void remove(const realmValidation_tracksData& record);

    explicit Realm(std::shared_ptr<zl::store::RealmStore> store) : store_(std::move(store)) {}

private:
    std::shared_ptr<zl::store::RealmStore> store_;
    zl::store::WriteBatch* batch_ = nullptr;  // set during write()
};

// The serial queue "realmQueue", built on first use. sync() runs the work on
// it and returns when it is done.
class RealmQueue {
public:
    static RealmQueue& shared();
    void sync(const std::function<void()>& work) { queue_.sync(work); }
    QString label() const { return queue_.name(); }

private:
    RealmQueue();
    zl::SerialQueue queue_;
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
