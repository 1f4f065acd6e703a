#pragma once

#include "CoreData.h"

// The four things the map screens draw, each kept in the "Zenloft" store.
// Getters read an unset value as empty text, 0 or false; text getters give a
// null QString for an absent value, so callers can tell absent from empty.

#define ZL_ENTITY(Class)                                                                       \
public:                                                                                        \
    Class(zl::store::NSManagedObjectContext* c, const zl::store::EntityDescription* e, qint64 pk) \
        : NSManagedObject(c, e, pk) {}                                                         \
    static QString entityName() { return QStringLiteral(#Class); }

#define ZL_ATTR_STRING(getter, setter, index) \
    QString getter() const { return string(index); } \
    void setter(const QString& v) { set(index, v); }
#define ZL_ATTR_DOUBLE(getter, setter, index) \
    double getter() const { return number(index); } \
    void setter(double v) { set(index, v); }
#define ZL_ATTR_INT32(getter, setter, index) \
    qint32 getter() const { return int32(index); } \
    void setter(qint32 v) { set(index, v); }
#define ZL_ATTR_BOOL(getter, setter, index) \
    bool getter() const { return boolean(index); } \
    void setter(bool v) { set(index, v); }

class Azimuth : public zl::store::NSManagedObject {
    ZL_ENTITY(Azimuth)
    ZL_ATTR_STRING(id, setId, 0)
    ZL_ATTR_DOUBLE(azimuth, setAzimuth, 1)
    ZL_ATTR_DOUBLE(distance, setDistance, 2)
    ZL_ATTR_STRING(desc, setDesc, 3)
    ZL_ATTR_INT32(colorRed, setColorRed, 4)
    ZL_ATTR_INT32(colorGreen, setColorGreen, 5)
    ZL_ATTR_INT32(colorBlue, setColorBlue, 6)
    ZL_ATTR_BOOL(isActive, setIsActive, 7)
};

class Marker : public zl::store::NSManagedObject {
    ZL_ENTITY(Marker)
    ZL_ATTR_STRING(id, setId, 0)
    ZL_ATTR_STRING(name, setName, 1)
    ZL_ATTR_STRING(desc, setDesc, 2)
    ZL_ATTR_DOUBLE(latitude, setLatitude, 3)
    ZL_ATTR_DOUBLE(longitude, setLongitude, 4)
    ZL_ATTR_INT32(colorRed, setColorRed, 5)
    ZL_ATTR_INT32(colorGreen, setColorGreen, 6)
    ZL_ATTR_INT32(colorBlue, setColorBlue, 7)
    ZL_ATTR_BOOL(isActive, setIsActive, 8)
};

class Sector : public zl::store::NSManagedObject {
    ZL_ENTITY(Sector)
    ZL_ATTR_STRING(id, setId, 0)
    ZL_ATTR_STRING(desc, setDesc, 1)
    ZL_ATTR_DOUBLE(latitude, setLatitude, 2)
    ZL_ATTR_DOUBLE(longitude, setLongitude, 3)
    ZL_ATTR_DOUBLE(azimuth, setAzimuth, 4)
    ZL_ATTR_DOUBLE(width, setWidth, 5)
    ZL_ATTR_DOUBLE(distance, setDistance, 6)
    ZL_ATTR_INT32(colorRed, setColorRed, 7)
    ZL_ATTR_INT32(colorGreen, setColorGreen, 8)
    ZL_ATTR_INT32(colorBlue, setColorBlue, 9)
    ZL_ATTR_DOUBLE(colorAlpha, setColorAlpha, 10)
    ZL_ATTR_BOOL(isActive, setIsActive, 11)
};

class KmlFile : public zl::store::NSManagedObject {
    ZL_ENTITY(KmlFile)
    ZL_ATTR_STRING(name, setName, 0)
    ZL_ATTR_BOOL(isActive, setIsActive, 1)
};

#undef ZL_ENTITY
#undef ZL_ATTR_STRING
#undef ZL_ATTR_DOUBLE
#undef ZL_ATTR_INT32
#undef ZL_ATTR_BOOL

using zl::store::NSFetchRequest;
using zl::store::NSManagedObject;
using zl::store::NSManagedObjectContext;
using zl::store::NSPersistentContainer;
using zl::store::NSPredicate;
