#pragma once

#include "GMSCacheStorageDescriptor.h"
#include "SqliteConnection.h"

#include <memory>

// One connection to a cache store, opened (and if need be rebuilt) for the
// thread that will use it. Each cache owns one and touches it only on its
// own thread.
class GMSCacheStorage {
public:
    // The schema version this code writes; one migration step per version in GMSCacheStorage.cpp.
    static constexpr int kSchemaVersion = 1;

    // Opens the store of the descriptor. When the store does not open (or is
    // not a store of ours), its folder is removed and made again and the
    // store is opened once more: *didReset is then true and the
    // descriptor's resetHandler has run. nullptr when that fails too.
    static std::unique_ptr<GMSCacheStorage> open(const GMSCacheStorageDescriptor& descriptor, bool* didReset = nullptr);

    const GMSCacheStorageDescriptor& descriptor() const { return m_descriptor; }
    zl::sqlite::Connection& db() { return m_db; }

private:
    explicit GMSCacheStorage(GMSCacheStorageDescriptor d) : m_descriptor(std::move(d)) {}
    bool openOnce(QString* error);

    GMSCacheStorageDescriptor m_descriptor;
    zl::sqlite::Connection m_db;
};
