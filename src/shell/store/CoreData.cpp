#include "CoreData.h"
#include "Entities.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QRegularExpression>

namespace zl::store {

namespace {

QVariant coerce(const QVariant& value, AttributeType type, bool* ok) {
    *ok = true;
    if (!value.isValid() || value.isNull()) return QVariant();
    switch (type) {
    case AttributeType::String:
        if (value.typeId() == QMetaType::QString) return value;
        if (value.canConvert<QString>()) return value.toString();
        break;
    case AttributeType::Double: {
        const double d = value.toDouble(ok);
        if (*ok) return d;
        break;
    }
    case AttributeType::Int32: {
        // An NSNumber given for an integer attribute keeps its integer part.
        const double d = value.toDouble(ok);
        if (*ok) return qint32(qBound(-2147483648.0, d, 2147483647.0));
        break;
    }
    case AttributeType::Boolean:
        if (value.typeId() == QMetaType::Bool) return value;
        if (value.canConvert<double>()) {
            const double d = value.toDouble(ok);
            if (*ok) return d != 0.0;
        }
        break;
    }
    *ok = false;
    return QVariant();
}

// The schema this program writes, one step per version.
constexpr int kSchemaVersion = 1;
constexpr zl::sqlite::MigrationStep kCoreDataSchema[] = {
    {":/zenloft/store/coredata_v1.sql"},
};
static_assert(std::size(kCoreDataSchema) == kSchemaVersion, "every schema version has its step");

}  // namespace

int EntityDescription::indexOf(const QString& key) const {
    for (size_t i = 0; i < attributes.size(); ++i)
        if (attributes[i].name == key) return int(i);
    return -1;
}

NSManagedObject::NSManagedObject(NSManagedObjectContext* context, const EntityDescription* entity, qint64 pk)
    : context_(context), entity_(entity), pk_(pk) {
    for (size_t i = 0; i < entity->attributes.size(); ++i) values_ << QVariant();
}

QVariant NSManagedObject::valueForKey(const QString& key) const {
    const int index = entity_->indexOf(key);
    if (index < 0) {
        qWarning().noquote() << "valueForKey: the entity" << entity_->name << "has no attribute" << key;
        return QVariant();
    }
    return values_.value(index);
}

bool NSManagedObject::setValue(const QVariant& value, const QString& key) {
    const int index = entity_->indexOf(key);
    if (index < 0) {
        qWarning().noquote() << "setValue:forKey: the entity" << entity_->name << "has no attribute" << key
                             << "- value not set";
        return false;
    }
    bool ok = false;
    const QVariant typed = coerce(value, entity_->attributes[size_t(index)].type, &ok);
    if (!ok) {
        qWarning().noquote() << "setValue:forKey:" << value << "doesn't fit" << entity_->name + "." + key
                             << "- value not set";
        return false;
    }
    set(index, typed);
    return true;
}

void NSManagedObject::set(int index, const QVariant& value) {
    if (deleted_) return;
    values_[index] = value;
    if (context_) context_->markUpdated(this);
}

NSPredicate NSPredicate::predicateWithFormat(const QString& format, const QVariant& argument) {
    static const QRegularExpression form(QStringLiteral("^\\s*(\\w+)\\s*==?\\s*%@\\s*$"));
    const auto m = form.match(format);
    if (!m.hasMatch()) {
        qWarning().noquote() << "unsupported predicate" << format;
        return {};
    }
    return {m.captured(1), argument};
}

// ---- context

NSManagedObjectContext::NSManagedObjectContext(StoreFile* file, const LoadResult& loaded) : file_(file) {
    usable_ = loaded.ok;
    unavailableReason_ = loaded.error;
    for (const EntityDescription& e : model()) {
        live_[e.name];
        qint64 maxPk = 0;
        auto it = loaded.tables.find(e.name);
        if (it != loaded.tables.end()) {
            for (const StoredRow& row : it->second) {
                NSManagedObject* o = make(&e, row.pk);
                for (int i = 0; i < int(e.attributes.size()); ++i) {
                    bool ok = false;
                    o->values_[i] = coerce(row.values.value(i), e.attributes[size_t(i)].type, &ok);
                }
                live_[e.name].push_back(o);
                maxPk = std::max(maxPk, row.pk);
            }
        }
        nextPk_[e.name] = maxPk + 1;
    }
}

NSManagedObjectContext::~NSManagedObjectContext() = default;

const std::vector<EntityDescription>& NSManagedObjectContext::model() {
    using T = AttributeType;
    static const std::vector<EntityDescription> entities{
        {QStringLiteral("Azimuth"),
         {{"id", T::String}, {"azimuth", T::Double}, {"distance", T::Double}, {"desc", T::String},
          {"colorRed", T::Int32}, {"colorGreen", T::Int32}, {"colorBlue", T::Int32}, {"isActive", T::Boolean}}},
        {QStringLiteral("Marker"),
         {{"id", T::String}, {"name", T::String}, {"desc", T::String}, {"latitude", T::Double},
          {"longitude", T::Double}, {"colorRed", T::Int32}, {"colorGreen", T::Int32}, {"colorBlue", T::Int32},
          {"isActive", T::Boolean}}},
        {QStringLiteral("Sector"),
         {{"id", T::String}, {"desc", T::String}, {"latitude", T::Double}, {"longitude", T::Double},
          {"azimuth", T::Double}, {"width", T::Double}, {"distance", T::Double}, {"colorRed", T::Int32},
          {"colorGreen", T::Int32}, {"colorBlue", T::Int32}, {"colorAlpha", T::Double}, {"isActive", T::Boolean}}},
        {QStringLiteral("KmlFile"), {{"name", T::String}, {"isActive", T::Boolean}}},
    };
    return entities;
}

const EntityDescription* NSManagedObjectContext::entityNamed(const QString& name) {
    for (const EntityDescription& e : model())
        if (e.name == name) return &e;
    return nullptr;
}

NSManagedObject* NSManagedObjectContext::insertNewObjectForEntityForName(const QString& entityName) {
    const EntityDescription* e = entityNamed(entityName);
    if (!e) {
        qWarning().noquote() << "no entity named" << entityName;
        return nullptr;
    }
    NSManagedObject* o = make(e, nextPk_[e->name]++);
    o->inserted_ = true;
    live_[e->name].push_back(o);
    pending_.push_back(o);
    return o;
}

QList<NSManagedObject*> NSManagedObjectContext::executeFetchRequest(const NSFetchRequest& request,
                                                                    QString* error) const {
    QList<NSManagedObject*> out;
    const EntityDescription* e = entityNamed(request.entityName);
    if (!e) {
        if (error) *error = QStringLiteral("no entity named %1").arg(request.entityName);
        return out;
    }
    if (!usable_) {
        if (error) *error = unavailableReason_;
        return out;
    }
    int keyIndex = -1;
    if (request.predicate.isValid()) {
        keyIndex = e->indexOf(request.predicate.key);
        if (keyIndex < 0) {
            if (error) *error = QStringLiteral("keypath %1 not found in entity %2").arg(request.predicate.key, e->name);
            return out;
        }
    }
    for (NSManagedObject* o : live_.at(e->name)) {
        if (o->deleted_) continue;
        if (keyIndex >= 0) {
            const QVariant v = o->values_.value(keyIndex);
            if (v.isNull() || v.toString() != request.predicate.value.toString()) continue;
        }
        out << o;
        if (request.fetchLimit > 0 && out.size() >= request.fetchLimit) break;
    }
    return out;
}

void NSManagedObjectContext::deleteObject(NSManagedObject* object) {
    if (!object || object->context_ != this || object->deleted_) return;
    object->deleted_ = true;
    if (std::find(pending_.begin(), pending_.end(), object) == pending_.end()) pending_.push_back(object);
}

void NSManagedObjectContext::markUpdated(NSManagedObject* object) {
    if (!object->inserted_) object->updated_ = true;
    if (std::find(pending_.begin(), pending_.end(), object) == pending_.end()) pending_.push_back(object);
}

bool NSManagedObjectContext::hasChanges() const {
    for (NSManagedObject* o : pending_)
        if (o->hasChanges()) return true;
    return false;
}

bool NSManagedObjectContext::save(QString* error) {
    if (!hasChanges()) return true;
    if (!usable_) {
        if (error) *error = unavailableReason_;
        return false;
    }
    WriteBatch batch;
    for (NSManagedObject* o : pending_) {
        const QString& table = o->entity_->name;
        if (o->deleted_) {
            if (!o->inserted_) batch.push_back({WriteOp::Delete, table, o->pk_, {}});
            auto& list = live_[table];
            list.erase(std::remove(list.begin(), list.end(), o), list.end());
            o->context_ = nullptr;  // a deleted object no longer belongs anywhere
        } else if (o->inserted_ || o->updated_) {
            batch.push_back({o->inserted_ ? WriteOp::Insert : WriteOp::Update, table, o->pk_, o->values_});
        }
        o->inserted_ = o->updated_ = false;
    }
    pending_.clear();
    file_->submit(std::move(batch));
    return true;
}

bool NSManagedObjectContext::flush() { return file_ ? file_->flush() : true; }

NSManagedObject* NSManagedObjectContext::make(const EntityDescription* entity, qint64 pk) {
    std::unique_ptr<NSManagedObject> object;
    if (entity->name == Azimuth::entityName())
        object = std::make_unique<Azimuth>(this, entity, pk);
    else if (entity->name == Marker::entityName())
        object = std::make_unique<Marker>(this, entity, pk);
    else if (entity->name == Sector::entityName())
        object = std::make_unique<Sector>(this, entity, pk);
    else
        object = std::make_unique<KmlFile>(this, entity, pk);
    owned_.push_back(std::move(object));
    return owned_.back().get();
}

// ---- container

NSPersistentContainer::NSPersistentContainer(const QString& name, const QString& directory)
    : path_(QDir(directory).filePath(name + QStringLiteral(".sqlite"))) {
    std::vector<TableSchema> tables;
    for (const EntityDescription& e : NSManagedObjectContext::model()) {
        TableSchema t{e.name, {}};
        for (const AttributeDescription& a : e.attributes) t.columns << a.name;
        tables.push_back(t);
    }
    file_ = std::make_unique<StoreFile>(path_, std::move(tables), kCoreDataSchema);
}

NSPersistentContainer::~NSPersistentContainer() {
    context_.reset();
    file_.reset();  // writes what is still queued
}

bool NSPersistentContainer::loadPersistentStores(QString* error) {
    LoadResult loaded = file_->load().get();
    if (!loaded.ok) loaded.error = QStringLiteral("The store %1 could not be opened: %2").arg(path_, loaded.error);
    context_.reset(new NSManagedObjectContext(file_.get(), loaded));
    NSManagedObjectContext* context = context_.get();
    file_->setFailureHandler([context](const QString& message) {
        const QString text = QStringLiteral("could not save: ") + message;
        qWarning().noquote() << text;
        QMetaObject::invokeMethod(context, [context, text] { emit context->storeWriteFailed(text); },
                                  Qt::QueuedConnection);
    });
    if (!loaded.ok && error) *error = loaded.error;
    return loaded.ok;
}

}  // namespace zl::store
