#ifndef TESTS_DURABILITY_FAULTYVFS_H
#define TESTS_DURABILITY_FAULTYVFS_H

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "temporarydirectory.h"

/// What goes wrong, and when.
struct Fault {
    enum Kind {
        kPowerCut,
        kFull,    ///< a write finds no room
        kError,   ///< the disk reports an error; after one of a sync nobody knows what is durable
        kUnread,  ///< a read fails, and all later ones of the same place
    };

    Kind kind = kPowerCut;
    bool bOnce = false;   ///< else all later operations fail, too
    std::size_t nAt = 0;  ///< which operation (or read), from 1; 0: none
};

/// SQLite's file system while it lives: the usual one, but that nothing waits for the disk, and
/// that it knows what of the files in one directory has been synced. It counts the operations there
/// that change something (write, truncation, sync, deletion, and what rename() and fsync() do to
/// the directory), and lets one of them fail, a write half done. One thread.
///
/// The program that uses it is linked with --wrap=rename and --wrap=fsync.
class FaultyVfs : private sqlite3_vfs {
public:
    explicit FaultyVfs(std::string sDirectory)
        : sqlite3_vfs(*sqlite3_vfs_find("unix-none")), m_sDirectory(std::move(sDirectory)) {
        pNext = nullptr;  // the name stays: whoever asks for the usual one by it gets this one
        szOsFile += static_cast<int>(sizeof(File));
        xOpen = open;
        xDelete = remove;
        sqlite3_vfs_register(this, 1);
        s_inUse = this;
    }
    ~FaultyVfs() {
        sqlite3_vfs_unregister(this);
        s_inUse = nullptr;
    }
    FaultyVfs& operator=(FaultyVfs&&) = delete;  // nor a copy

    /// Begins anew, with what is in the directory.
    void arm(const Fault& fault) {
        m_fault = fault;
        m_nDone = m_nRead = m_nDatabaseSyncs = 0;
        m_bBroken = false;
        m_badPlace = {};
        m_media.clear();
        m_renames.clear();
        if (!std::filesystem::exists(m_sDirectory)) return;
        for (const auto& entry : std::filesystem::directory_iterator(m_sDirectory)) {
            m_media[entry.path()].synced = TemporaryDirectory::contentOf(entry.path());
        }
    }
    void repair() {
        m_bBroken = false;
        m_badPlace = {};
    }
    /// Whether the fault has come.
    [[nodiscard]] bool hasStruck() const {
        return m_fault.nAt != 0 &&
               (m_fault.kind == Fault::kUnread ? m_nRead : m_nDone) >= m_fault.nAt;
    }
    [[nodiscard]] std::size_t operations() const { return m_nDone; }
    [[nodiscard]] std::size_t reads() const { return m_nRead; }
    /// How often the database itself, not what is beside it, has been synced.
    [[nodiscard]] std::size_t databaseSyncs() const { return m_nDatabaseSyncs; }

    /// Writes the files, as a power cut now would leave them, into another directory.
    /// @param random  decides of every unsynced change whether it has come through, or which
    ///                sectors and parts of sectors have; null: none has
    void writeSurvivors(const std::string& sDirectory, std::mt19937* random) const {
        const unsigned nWholeWrites =
            random == nullptr ? 0 : std::array{5u, 9u, 10u}[(*random)() % 3];
        std::map<std::string, ImageT> images;
        for (const auto& [sPath, medium] : m_media) {
            ImageT& image = images[sPath] = medium.synced;
            for (const Change& change : medium.unsynced) {
                if (random == nullptr) continue;
                const bool bWrite = change.kind == Change::kWrite;
                if ((*random)() % 10 < (bWrite ? nWholeWrites : 5)) {
                    apply(change, image);
                } else if (bWrite && (*random)() % 2 == 0) {
                    applyPart(change, image, *random);
                }
            }
        }
        for (const auto& [sFrom, sTo] : m_renames) {
            if (random != nullptr && (*random)() % 2 == 0) {
                images[sTo] = std::exchange(images[sFrom], std::nullopt);
            }
        }
        for (const auto& [sPath, image] : images) {
            const auto name = std::filesystem::path(sPath).filename();
            if (image) std::ofstream(sDirectory / name, std::ios::binary) << *image;
        }
    }

    // in the place of the system's calls
    static int rename(const char* from, const char* to, int (*real)(const char*, const char*)) {
        if (s_inUse == nullptr || !std::string(from).starts_with(s_inUse->m_sDirectory)) {
            return real(from, to);
        }
        if (!std::filesystem::exists(from)) return errno = ENOENT, -1;
        if (s_inUse->turn(s_inUse->mediumOf(from)) != Turn::kWorks) return errno = EIO, -1;
        s_inUse->m_renames.emplace_back(from, to);
        return real(from, to);
    }
    static int fsync(int fd, int (*real)(int)) {
        std::error_code error;
        const auto path =
            std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd), error);
        if (s_inUse == nullptr || path != s_inUse->m_sDirectory) return real(fd);
        Medium directory;
        if (s_inUse->turn(&directory) != Turn::kWorks) return errno = EIO, -1;
        s_inUse->syncNames();
        return 0;
    }

private:
    using ImageT = std::optional<std::string>;  ///< nothing: there is no such file
    struct Change {
        enum Kind { kWrite, kTruncate, kCreate, kDelete };

        Kind kind;
        std::size_t nAt = 0;
        std::string sBytes{};
        bool bInDoubt = false;  ///< a sync that was to make it durable has failed

        [[nodiscard]] bool isOfName() const { return kind == kCreate || kind == kDelete; }
        [[nodiscard]] bool replaces(const Change& old) const {
            return nAt < old.nAt + old.sBytes.size() &&
                   (kind != kWrite || nAt + sBytes.size() > old.nAt);
        }
    };
    struct Medium {
        ImageT synced;
        std::vector<Change> unsynced{};
    };
    /// An open file. The usual file system's own stands behind it in memory.
    struct File : sqlite3_file {
        FaultyVfs* vfs;
        Medium* medium;       ///< null for a file elsewhere
        sqlite3* connection;  ///< of a database
        bool bNewName;        ///< its first sync is one of the directory, too
    };
    enum class Turn { kWorks, kStrikes, kFails };

    static File& of(sqlite3_file* file) { return *static_cast<File*>(file); }
    /// Hands a call on to the usual file system.
    template <auto Method, typename... Arguments>
    static int forward(sqlite3_file* file, Arguments... arguments) {
        auto* const real = reinterpret_cast<sqlite3_file*>(&of(file) + 1);
        return (real->pMethods->*Method)(real, arguments...);
    }

    Turn turn(const Medium* medium) {
        if (medium == nullptr || m_fault.kind == Fault::kUnread) return Turn::kWorks;
        if (++m_nDone != m_fault.nAt) return m_bBroken ? Turn::kFails : Turn::kWorks;
        m_bBroken = !m_fault.bOnce;
        return Turn::kStrikes;
    }
    Medium* mediumOf(const std::string& sName) {
        if (!sName.starts_with(m_sDirectory)) return nullptr;
        for (const auto& [sFrom, sTo] : m_renames) {
            EXPECT_TRUE(sName != sFrom && sName != sTo) << sName << " is used before it is synced";
        }
        const auto [place, bNew] = m_media.try_emplace(sName);
        if (bNew && std::filesystem::exists(sName)) {
            place->second.unsynced.push_back({.kind = Change::kCreate});
        }
        return &place->second;
    }

    static int open(sqlite3_vfs* base, const char* name, sqlite3_file* opened, int nFlags,
                    int* pFlags) {
        auto* const vfs = static_cast<FaultyVfs*>(base);
        File& file = of(opened);
        file.vfs = vfs;
        file.medium = name == nullptr ? nullptr : vfs->mediumOf(name);
        file.connection = nullptr;
        file.bNewName = file.medium != nullptr && !std::filesystem::exists(name);
        const int nCode = vfs->m_real->xOpen(
            vfs->m_real, name, reinterpret_cast<sqlite3_file*>(&file + 1), nFlags, pFlags);
        file.pMethods = nCode == SQLITE_OK ? methods() : nullptr;
        if (nCode == SQLITE_OK && file.bNewName) {
            file.medium->unsynced.push_back({.kind = Change::kCreate});
        }
        return nCode;
    }
    static int remove(sqlite3_vfs* base, const char* name, int nSyncDirectory) {
        auto* const vfs = static_cast<FaultyVfs*>(base);
        Medium* const medium = vfs->mediumOf(name);
        if (vfs->turn(medium) != Turn::kWorks) return SQLITE_IOERR_DELETE;
        if (medium != nullptr) medium->unsynced.push_back({.kind = Change::kDelete});
        if (nSyncDirectory != 0) vfs->syncNames();
        return vfs->m_real->xDelete(vfs->m_real, name, 0);
    }
    static int read(sqlite3_file* file, void* bytes, int nBytes, sqlite3_int64 nAt) {
        FaultyVfs& vfs = *of(file).vfs;
        const std::pair<const Medium*, sqlite3_int64> place(of(file).medium, nAt);
        if (place.first != nullptr) {
            const bool bStrikes =
                ++vfs.m_nRead == vfs.m_fault.nAt && vfs.m_fault.kind == Fault::kUnread;
            if (bStrikes && !vfs.m_fault.bOnce) vfs.m_badPlace = place;
            if (bStrikes || place == vfs.m_badPlace) return SQLITE_IOERR_READ;
        }
        return forward<&sqlite3_io_methods::xRead>(file, bytes, nBytes, nAt);
    }
    static int write(sqlite3_file* file, const void* bytes, int nBytes, sqlite3_int64 nAt) {
        FaultyVfs& vfs = *of(file).vfs;
        const Turn turn = vfs.turn(of(file).medium);
        const int nFailure = vfs.m_fault.kind == Fault::kFull ? SQLITE_FULL : SQLITE_IOERR_WRITE;
        if (turn == Turn::kFails) return nFailure;
        nBytes = turn == Turn::kStrikes ? nBytes / 2 : nBytes;
        if (of(file).medium != nullptr) {
            of(file).medium->unsynced.push_back(
                {.kind = Change::kWrite,
                 .nAt = static_cast<std::size_t>(nAt),
                 .sBytes = {static_cast<const char*>(bytes), static_cast<std::size_t>(nBytes)}});
        }
        const int nCode = forward<&sqlite3_io_methods::xWrite>(file, bytes, nBytes, nAt);
        return turn == Turn::kStrikes ? nFailure : nCode;
    }
    static int truncate(sqlite3_file* file, sqlite3_int64 nSize) {
        Medium* const medium = of(file).medium;
        if (of(file).vfs->turn(medium) != Turn::kWorks) return SQLITE_IOERR_TRUNCATE;
        if (medium != nullptr) {
            medium->unsynced.push_back(
                {.kind = Change::kTruncate, .nAt = static_cast<std::size_t>(nSize)});
        }
        return forward<&sqlite3_io_methods::xTruncate>(file, nSize);
    }
    static int sync(sqlite3_file* file, int /*nFlags*/) {
        FaultyVfs& vfs = *of(file).vfs;
        Medium* const medium = of(file).medium;
        if (vfs.turn(medium) != Turn::kWorks) {
            for (Change& change : medium->unsynced) {
                change.bInDoubt = vfs.m_fault.kind != Fault::kPowerCut;
            }
            return SQLITE_IOERR_FSYNC;
        }
        if (std::exchange(of(file).bNewName, false)) vfs.syncNames();
        if (medium != nullptr) makeDurable(*medium);
        vfs.m_nDatabaseSyncs += medium != nullptr && of(file).connection != nullptr ? 1 : 0;
        return SQLITE_OK;
    }
    static int control(sqlite3_file* file, int nOperation, void* argument) {
        constexpr int kPages = 8;  // so few, that the log is written back every few changes
        if (nOperation == SQLITE_FCNTL_PDB) {
            of(file).connection = *static_cast<sqlite3**>(argument);
        } else if (nOperation == SQLITE_FCNTL_PRAGMA) {
            sqlite3_wal_autocheckpoint(of(file).connection, kPages);
        }
        return forward<&sqlite3_io_methods::xFileControl>(file, nOperation, argument);
    }
    static const sqlite3_io_methods* methods() {
        static const sqlite3_io_methods all = [] {
            sqlite3_io_methods some{};
            some.iVersion = 1;  // without shared memory: one connection has the files for itself
            some.xClose = forward<&sqlite3_io_methods::xClose>;
            some.xRead = read;
            some.xWrite = write;
            some.xTruncate = truncate;
            some.xSync = sync;
            some.xFileSize = forward<&sqlite3_io_methods::xFileSize>;
            some.xLock = forward<&sqlite3_io_methods::xLock>;
            some.xUnlock = forward<&sqlite3_io_methods::xUnlock>;
            some.xCheckReservedLock = forward<&sqlite3_io_methods::xCheckReservedLock>;
            some.xFileControl = control;
            some.xSectorSize = forward<&sqlite3_io_methods::xSectorSize>;
            some.xDeviceCharacteristics = forward<&sqlite3_io_methods::xDeviceCharacteristics>;
            return some;
        }();
        return &all;
    }

    /// Makes durable which files there are, but not what is in them.
    void syncNames() {
        for (auto& [sPath, medium] : m_media) {
            std::vector<Change>& unsynced = medium.unsynced;
            const auto last = std::find_if(unsynced.rbegin(), unsynced.rend(),
                                           [](const Change& change) { return change.isOfName(); });
            if (last == unsynced.rend()) continue;
            medium.synced = last->kind == Change::kCreate ? ImageT("") : std::nullopt;
            unsynced.erase(unsynced.begin(), last.base());
        }
        for (const auto& [sFrom, sTo] : m_renames) {
            m_media[sTo] = std::exchange(m_media[sFrom], {});
        }
        m_renames.clear();
    }
    /// But for what an earlier sync has left in doubt: that stays so until it is replaced.
    static void makeDurable(Medium& medium) {
        std::vector<Change> inDoubt;
        for (Change& change : medium.unsynced) {
            if (change.bInDoubt) {
                inDoubt.push_back(std::move(change));
                continue;
            }
            apply(change, medium.synced);
            std::erase_if(inDoubt, [&change](const Change& old) { return change.replaces(old); });
        }
        medium.unsynced = std::move(inDoubt);
    }
    static void apply(const Change& change, ImageT& image) {
        if (change.kind == Change::kDelete) {
            image.reset();
        } else if (change.kind == Change::kCreate) {
            image.emplace();
        } else if (image && change.kind == Change::kTruncate) {
            image->resize(change.nAt);
        } else if (image) {
            image->resize(std::max(image->size(), change.nAt + change.sBytes.size()));
            image->replace(change.nAt, change.sBytes.size(), change.sBytes);
        }
    }
    /// Each sector of a write comes through, or does not, or ends somewhere within.
    static void applyPart(const Change& change, ImageT& image, std::mt19937& random) {
        constexpr std::size_t kSectorBytes = 512;
        for (std::size_t at = 0; at < change.sBytes.size();) {
            const std::size_t nPlace = change.nAt + at;
            const std::size_t nSector =
                std::min(kSectorBytes - nPlace % kSectorBytes, change.sBytes.size() - at);
            const std::size_t nKept =
                std::array{nSector, std::size_t{0}, random() % nSector}[random() % 3];
            apply({Change::kWrite, nPlace, change.sBytes.substr(at, nKept)}, image);
            at += nSector;
        }
    }

    const std::string m_sDirectory;
    static inline FaultyVfs* s_inUse = nullptr;
    sqlite3_vfs* const m_real = sqlite3_vfs_find("unix-none");
    Fault m_fault;
    std::size_t m_nDone = 0, m_nRead = 0;
    std::size_t m_nDatabaseSyncs = 0;
    bool m_bBroken = false;
    std::pair<const Medium*, sqlite3_int64> m_badPlace;
    std::map<std::string, Medium> m_media;                       ///< by path
    std::vector<std::pair<std::string, std::string>> m_renames;  ///< not synced yet
};

extern "C" {
int __real_rename(const char*, const char*);
int __real_fsync(int);
int __wrap_rename(const char* from, const char* to) {
    return FaultyVfs::rename(from, to, __real_rename);
}
int __wrap_fsync(int fd) { return FaultyVfs::fsync(fd, __real_fsync); }
}

#endif
