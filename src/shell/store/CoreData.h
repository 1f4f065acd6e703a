#pragma once

#include "StoreFile.h"

#include <QDebug>
#include <QList>
#include <QObject>
#include <QString>
#include <QVariant>

#include <memory>
#include <optional>
#include <vector>

namespace zl::store {

enum class AttributeType { String, Double, Int32, Boolean };

struct AttributeDescription {
    QString name;
    AttributeType type;
};

struct EntityDescription {
    QString name;
    std::vector<AttributeDescription> attributes;
    int indexOf(const QString& key) const;
};

class NSManagedObjectContext;

// One stored object. Values are null until written; typed getters read a
// null as empty text, 0 or false.
class NSManagedObject {
public:
    virtual ~NSManagedObject() = default;

    const EntityDescription& entity() const { return *entity_; }
    QString entityName() const { return entity_->name; }
    NSManagedObjectContext* managedObjectContext() const { return context_; }
    qint64 objectID() const { return pk_; }

    // Key-value access by attribute name. A value that can't be turned into
    // the attribute's type, or an unknown key, is refused with a warning.
    QVariant valueForKey(const QString& key) const;
    bool setValue(const QVariant& value, const QString& key);

    bool isInserted() const { return inserted_; }
    bool isUpdated() const { return updated_; }
    bool isDeleted() const { return deleted_; }
    bool hasChanges() const { return inserted_ || updated_ || deleted_; }

protected:
    NSManagedObject(NSManagedObjectContext* context, const EntityDescription* entity, qint64 pk);
    QVariant raw(int index) const { return values_.value(index); }
    QString string(int index) const { return values_.value(index).toString(); }
    double number(int index) const { return values_.value(index).toDouble(); }
    qint32 int32(int index) const { return values_.value(index).toInt(); }
    bool boolean(int index) const { return values_.value(index).toBool(); }
    void set(int index, const QVariant& value);

private:
    friend class NSManagedObjectContext;
    NSManagedObjectContext* context_;
    const EntityDescription* entity_;
    qint64 pk_;
    Row values_;
    bool inserted_ = false;
    bool updated_ = false;
    bool deleted_ = false;
};

// The only predicate form the system uses: "<key> = %@" with one argument.
struct NSPredicate {
    QString key;
    QVariant value;
    static NSPredicate predicateWithFormat(const QString& format, const QVariant& argument);
    bool isValid() const { return !key.isEmpty(); }
};

struct NSFetchRequest {
    explicit NSFetchRequest(QString entity) : entityName(std::move(entity)) {}
    QString entityName;
    NSPredicate predicate;  // none when invalid
    int fetchLimit = 0;     // 0: no limit
};

// The one context of the app. Everything it holds is in memory; saves go to
// the store file's writer thread, so neither fetches nor saves wait on disk.
class NSManagedObjectContext : public QObject {
    Q_OBJECT
public:
    ~NSManagedObjectContext() override;

    // A new object of the entity, inserted into the context (initWithContext:).
    NSManagedObject* insertNewObjectForEntityForName(const QString& entityName);
    template <class T>
    T* insertNewObject() {
        return static_cast<T*>(insertNewObjectForEntityForName(T::entityName()));
    }

    // Objects of the entity in store order, pending inserts included and
    // pending deletions left out. On failure returns an empty list and sets
    // error.
    QList<NSManagedObject*> executeFetchRequest(const NSFetchRequest& request, QString* error) const;
    template <class T>
    QList<T*> fetch(const NSFetchRequest& request, QString* error) const {
        QList<T*> out;
        for (NSManagedObject* o : executeFetchRequest(request, error)) out << static_cast<T*>(o);
        return out;
    }
    template <class T>
    QList<T*> fetchAll(QString* error) const {
        return fetch<T>(NSFetchRequest(T::entityName()), error);
    }
    // fetchAll for the screens: a failure is logged as "could not fetch: ..."
    // and gives nothing, so the screen keeps what it shows.
    template <class T>
    std::optional<QList<T*>> fetchAllOrLog() const {
        QString error;
        QList<T*> all = fetchAll<T>(&error);
        if (!error.isEmpty()) {
            qDebug().noquote() << "could not fetch: " + error;
            return std::nullopt;
        }
        return all;
    }
    // The entity's objects whose "id" is `id`, at most `limit` (0: all).
    template <class T>
    QList<T*> fetchWithId(const QString& id, int limit, QString* error) const {
        NSFetchRequest request(T::entityName());
        request.predicate = NSPredicate::predicateWithFormat(QStringLiteral("id = %@"), id);
        request.fetchLimit = limit;
        return fetch<T>(request, error);
    }

    void deleteObject(NSManagedObject* object);
    bool hasChanges() const;
    // Makes the pending changes the committed state and hands them to the
    // store file. Fails, keeping every change, when the store isn't usable.
    bool save(QString* error);

    bool isUsable() const { return usable_; }
    QString unavailableReason() const { return unavailableReason_; }
    // Waits for the writer thread (tests, and the end of the process).
    bool flush();

    static const std::vector<EntityDescription>& model();
    static const EntityDescription* entityNamed(const QString& name);

signals:
    // A batch of saved changes couldn't be written to disk; it stays queued.
    void storeWriteFailed(const QString& message);

private:
    friend class NSPersistentContainer;
    friend class NSManagedObject;
    NSManagedObjectContext(StoreFile* file, const LoadResult& loaded);
    NSManagedObject* make(const EntityDescription* entity, qint64 pk);
    void markUpdated(NSManagedObject* object);

    StoreFile* file_;
    bool usable_ = false;
    QString unavailableReason_;
    std::map<QString, std::vector<NSManagedObject*>> live_;  // per entity, store order
    std::map<QString, qint64> nextPk_;
    std::vector<std::unique_ptr<NSManagedObject>> owned_;   // keeps pointers valid for the context's life
    std::vector<NSManagedObject*> pending_;                 // objects with changes, in order of change
};

// The store "Zenloft": a SQLite file named after the container.
class NSPersistentContainer {
public:
    NSPersistentContainer(const QString& name, const QString& directory);
    ~NSPersistentContainer();

    // Reads the store. Returns false with a message naming the file when it
    // can't be opened; the file is then left untouched and the context
    // refuses every save.
    bool loadPersistentStores(QString* error);
    NSManagedObjectContext* viewContext() const { return context_.get(); }
    QString storePath() const { return path_; }
    StoreFile* storeFile() const { return file_.get(); }

private:
    QString path_;
    std::unique_ptr<StoreFile> file_;
    std::unique_ptr<NSManagedObjectContext> context_;
};

}  // namespace zl::store
