#include "SqliteFaults.h"

#include <sqlite3.h>

#include <atomic>
#include <mutex>

namespace zl::sqlite::faults {

namespace {

std::atomic<int> g_failWith{SQLITE_OK};
sqlite3_vfs* g_real = nullptr;
sqlite3_vfs g_vfs;

// Our handle, with the platform's handle right behind it.
struct File {
    sqlite3_file base;
};


sqlite3_file* real(sqlite3_file* f) { return reinterpret_cast<sqlite3_file*>(reinterpret_cast<File*>(f) + 1); }

int failing() { return g_failWith.load(std::memory_order_acquire); }

int xClose(sqlite3_file* f) { return real(f)->pMethods->xClose(real(f)); }
int xRead(sqlite3_file* f, void* p, int n, sqlite3_int64 off) { return real(f)->pMethods->xRead(real(f), p, n, off); }
int xWrite(sqlite3_file* f, const void* p, int n, sqlite3_int64 off) {
    if (const int rc = failing()) return rc;
    return real(f)->pMethods->xWrite(real(f), p, n, off);
}
int xTruncate(sqlite3_file* f, sqlite3_int64 size) {
    if (const int rc = failing()) return rc;
    return real(f)->pMethods->xTruncate(real(f), size);
}
int xSync(sqlite3_file* f, int flags) {
    if (const int rc = failing()) return rc;
    return real(f)->pMethods->xSync(real(f), flags);
}
int xFileSize(sqlite3_file* f, sqlite3_int64* size) { return real(f)->pMethods->xFileSize(real(f), size); }
int xLock(sqlite3_file* f, int l) { return real(f)->pMethods->xLock(real(f), l); }
int xUnlock(sqlite3_file* f, int l) { return real(f)->pMethods->xUnlock(real(f), l); }
int xCheckReservedLock(sqlite3_file* f, int* out) { return real(f)->pMethods->xCheckReservedLock(real(f), out); }
int xFileControl(sqlite3_file* f, int op, void* arg) { return real(f)->pMethods->xFileControl(real(f), op, arg); }
int xSectorSize(sqlite3_file* f) { return real(f)->pMethods->xSectorSize(real(f)); }
int xDeviceCharacteristics(sqlite3_file* f) { return real(f)->pMethods->xDeviceCharacteristics(real(f)); }
int xShmMap(sqlite3_file* f, int region, int size, int extend, void volatile** p) {
    return real(f)->pMethods->xShmMap(real(f), region, size, extend, p);
}
int xShmLock(sqlite3_file* f, int offset, int n, int flags) {
    return real(f)->pMethods->xShmLock(real(f), offset, n, flags);
}
void xShmBarrier(sqlite3_file* f) { real(f)->pMethods->xShmBarrier(real(f)); }
int xShmUnmap(sqlite3_file* f, int deleteFlag) { return real(f)->pMethods->xShmUnmap(real(f), deleteFlag); }
int xFetch(sqlite3_file* f, sqlite3_int64 off, int n, void** p) {
    return real(f)->pMethods->xFetch(real(f), off, n, p);
}
int xUnfetch(sqlite3_file* f, sqlite3_int64 off, void* p) { return real(f)->pMethods->xUnfetch(real(f), off, p); }

const sqlite3_io_methods g_methods = {
    3,         xClose,     xRead,       xWrite,   xTruncate,   xSync,       xFileSize,     xLock,    xUnlock,
    xCheckReservedLock, xFileControl, xSectorSize, xDeviceCharacteristics, xShmMap, xShmLock, xShmBarrier,
    xShmUnmap, xFetch,     xUnfetch,
};

int xOpen(sqlite3_vfs*, sqlite3_filename name, sqlite3_file* f, int flags, int* outFlags) {
    f->pMethods = nullptr;
    const int rc = g_real->xOpen(g_real, name, real(f), flags, outFlags);
    // Only a file the platform opened is closed through us.
    if (real(f)->pMethods) f->pMethods = &g_methods;
    return rc;
}

}  // namespace

void install() {
    static std::once_flag once;
    std::call_once(once, [] {
        sqlite3_initialize();
        g_real = sqlite3_vfs_find(nullptr);
        // The platform's own calls, with room for its handle behind ours and
        // our open in front. Its calls find their data where they left it.
        g_vfs = *g_real;
        g_vfs.pNext = nullptr;
        g_vfs.zName = "zl-faults";
        g_vfs.szOsFile = int(sizeof(File)) + g_real->szOsFile;
        g_vfs.xOpen = xOpen;
        sqlite3_vfs_register(&g_vfs, 1);
    });
}

void failWrites(Fault fault) {
    int rc = SQLITE_OK;
    switch (fault) {
    case Fault::None: break;
    case Fault::DiskFull: rc = SQLITE_FULL; break;
    case Fault::IoError: rc = SQLITE_IOERR_WRITE; break;
    }
    g_failWith.store(rc, std::memory_order_release);
}

}  // namespace zl::sqlite::faults
