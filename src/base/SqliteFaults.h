#pragma once

// Disk faults on demand, for tests: a file layer over the platform's that
// passes everything through until told to fail writes. Connections opened
// after install() use it; the switch applies to all of them at once.
namespace zl::sqlite::faults {

enum class Fault {
    None,
    DiskFull,  // SQLITE_FULL, as when the disk has no room left
    IoError,   // SQLITE_IOERR_WRITE, as when the medium fails
};

// Makes the fault layer the default for connections opened from now on.
// Safe to call more than once.
void install();
// From now on every write, truncate and sync of any file fails this way
// (None heals). Reads go on working.
void failWrites(Fault fault);

// Fails writes while it lives.
class FailingWrites {
public:
    explicit FailingWrites(Fault fault) { failWrites(fault); }
    ~FailingWrites() { failWrites(Fault::None); }
    FailingWrites(const FailingWrites&) = delete;
    FailingWrites& operator=(const FailingWrites&) = delete;
};

}  // namespace zl::sqlite::faults
