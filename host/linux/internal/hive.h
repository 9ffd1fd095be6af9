// One hive of the registry: an SQLite database in WAL mode.
//
// Tables: `keys` holds one row a key, named within its parent; the hive's root is key 0 and has no row. `vals` holds
// one row a value. Both keep the name as created and folded. Keys are ordered by the folded name; values by the place
// at which they were first written, so that what was stored in an order comes back in it. Ids of keys are never used
// twice (AUTOINCREMENT) and a key never moves, so an id either names the key that it always named or none: a handle can
// keep an id, and a path once resolved needs no more proof than that its id still exists.
//
// The file carries an application id and a version in its header, both checked before SQLite sees the file: what is not
// ours is not touched. A hive is made complete beside its place and then linked to it, so that nobody ever sees half of
// one.
//
// Every change is one transaction. WAL with synchronous NORMAL writes it to the file before the call returns, which is
// what outliving a kill takes; the disk is flushed at checkpoints only.
//
// A hive that cannot be written is opened as an unchanging file while no log lies beside it, because SQLite otherwise
// has to write (the shared index) in order to read. Whoever writes to the hive makes a log first: the file's stamp is
// compared before and after every read, and a read during which it changed is done again.
//
// Thread-safe: one connection, guarded by one lock. Status codes as results; only std::bad_alloc is thrown.
#pragma once

#include "host/linux/internal/mutex.h"
#include "qvlib/host/types.h"

#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace qvlib::host
{

using KeyId = std::int64_t;

class Hive
{
public:
    static constexpr KeyId kRoot = 0;
    /// Of a key that the hive does not have.
    static constexpr KeyId kAbsent = -1;

    enum class Kind
    {
        keys,
        values
    };

    struct Entry
    {
        std::string folded;
        std::string name;
        std::size_t size;
    };

    /// A value to be written.
    struct Value
    {
        std::string folded;
        std::string name;
        DWORD type;
        std::vector<BYTE> data;
    };

    /// Room for a name and, of a value, its type and data, as RegEnumValueW takes them.
    struct Output
    {
        wchar_t * name;
        DWORD * nameLength;
        DWORD * type;
        BYTE * data;
        DWORD * size;
    };

    struct Info
    {
        DWORD subKeys = 0;
        DWORD maxSubKeyLength = 0;
        DWORD values = 0;
        DWORD maxValueNameLength = 0;
        DWORD maxValueSize = 0;
    };

    /// Nothing is opened yet. A hive that is `shared` is made readable for everybody when it is made.
    Hive(std::string path, bool shared);
    Hive(Hive const &) = delete;
    Hive & operator=(Hive const &) = delete;
    ~Hive();

    std::string const & Path() const { return m_path; }
    /// Whether the path still leads to the file that this hive was opened with, if it ever was.
    bool IsCurrent();
    /// Whether the file was found removed or replaced: what this hive was does not come back.
    bool IsRetired() const { return m_retired.load(std::memory_order_relaxed); } // a hint, no data follow it
    /// ERROR_SUCCESS when changes may be tried.
    LSTATUS CheckWritable();

    /// Paths are folded, their parts separated by backslashes; an empty one means the key itself.
    LSTATUS Find(KeyId base, std::string const & folded, KeyId & id);
    /// `path` is the same path as written.
    LSTATUS Create(KeyId base, std::string const & folded, std::string const & path, KeyId & id, bool & isNew);
    /// Creates the key with its values, or writes them into one that lacks the last of them, in one step: of several
    /// who do so at once, the first does. ERROR_ALREADY_EXISTS for all others.
    LSTATUS CreateWhole(KeyId base, std::string const & folded, std::string const & path,
                        std::span<Value const> values);
    LSTATUS DeleteKey(KeyId base, std::string const & folded);

    LSTATUS GetValue(KeyId id, std::string const & folded, DWORD * type, BYTE * data, DWORD * size);
    LSTATUS SetValue(KeyId id, std::string const & folded, std::string const & name, DWORD type, BYTE const * data,
                     DWORD size);
    LSTATUS DeleteValue(KeyId id, std::string const & folded);

    LSTATUS Enumerate(KeyId id, Kind kind, DWORD index, Output const & output);
    LSTATUS List(KeyId id, Kind kind, std::vector<Entry> & entries);
    LSTATUS GetInfo(KeyId id, Info & info);

    /// Copies a value's bytes by the rules of RegQueryValueExW.
    static LSTATUS CopyData(void const * from, std::size_t length, BYTE * data, DWORD * size);
    /// Copies a name by the rules of RegEnumValueW.
    static LSTATUS CopyName(std::string_view from, wchar_t * name, DWORD * length);

    // Around fork(): no SQLite connection may be carried over, so they are closed before and opened again when needed.
    void LockForFork() QVLIB_ACQUIRE(m_lock);
    void UnlockAfterFork() QVLIB_RELEASE(m_lock) { m_lock.Unlock(); }
    /// Closes the connection, folding the log into the file if this was the last one.
    void Disconnect();

private:
    enum Query : std::size_t
    {
        findKey,
        keyExists,
        insertKey,
        removeKey,
        hasSubKeys,
        getValue,
        updateValue,
        setValue,
        removeValue,
        removeValues,
        keyAt,
        keyAfter,
        valueAt,
        valueAfter,
        allKeys,
        allValues,
        keyInfo,
        valueInfo,
        beginRead,
        beginWrite,
        commit,
        rollback,
        queryCount
    };

    /// What tells one state of an unchanging file from another.
    struct Stamp
    {
        dev_t device = 0;
        ino_t inode = 0;
        off_t size = 0;
        timespec modified{};
        timespec changed{};
        bool hasLog = false;

        bool operator==(Stamp const & other) const;
    };

    class Statement;

    template <class Work>
    LSTATUS Read(Work const & work);
    template <class Work>
    LSTATUS Write(Work const & work);

    LSTATUS Connect(bool forWriting) QVLIB_REQUIRES(m_lock);
    LSTATUS OpenDatabase(bool readOnly, bool unchanging) QVLIB_REQUIRES(m_lock);
    LSTATUS CheckFile() const;
    LSTATUS CheckSchema() QVLIB_REQUIRES(m_lock);
    LSTATUS MakeFile() const QVLIB_REQUIRES(m_lock);
    void Close(bool keepLog) noexcept QVLIB_REQUIRES(m_lock);
    bool TakeStamp(Stamp & stamp) const QVLIB_REQUIRES(m_lock);
    bool IsReadOnlyFile() const;
    bool IsSameFile() const QVLIB_REQUIRES(m_lock);
    bool Pin() QVLIB_REQUIRES(m_lock);
    void Retire() QVLIB_REQUIRES(m_lock);
    LSTATUS Run(Query query) QVLIB_REQUIRES(m_lock);
    LSTATUS Status(int code) const QVLIB_REQUIRES(m_lock);
    LSTATUS FindLocked(KeyId base, std::string const & folded, KeyId & id) QVLIB_REQUIRES(m_lock);
    LSTATUS ExistsLocked(KeyId id) QVLIB_REQUIRES(m_lock);
    LSTATUS CreateLocked(KeyId base, std::string const & folded, std::string const & path, KeyId & id, bool & isNew)
        QVLIB_REQUIRES(m_lock);
    LSTATUS AddValueLocked(KeyId id, std::string const & folded, std::string const & name, DWORD type,
                           BYTE const * data, DWORD size) QVLIB_REQUIRES(m_lock);
    void ForgetPosition() QVLIB_REQUIRES(m_lock) { m_position.id = kAbsent; }
    std::chrono::steady_clock::duration TimeLeft() QVLIB_REQUIRES(m_lock);
    /// Called by SQLite from within a call that is made under the lock.
    static int OnBusy(void * hive, int attempt) QVLIB_NO_THREAD_SAFETY_ANALYSIS;
    static char const * Sql(Query query);

    std::string const m_path;
    bool const m_shared;

    Mutex m_lock;
    std::atomic<bool> m_retired{false};
    sqlite3 * m_db QVLIB_GUARDED_BY(m_lock) = nullptr;
    std::array<sqlite3_stmt *, queryCount> m_statements QVLIB_GUARDED_BY(m_lock){};
    bool m_readOnly QVLIB_GUARDED_BY(m_lock) = false;
    bool m_unchanging QVLIB_GUARDED_BY(m_lock) = false;
    /// Once a file has been opened: a descriptor that keeps its inode from being used again, so that m_stamp tells it
    /// from every other file for good.
    int m_pin QVLIB_GUARDED_BY(m_lock) = -1;
    Stamp m_stamp QVLIB_GUARDED_BY(m_lock);
    // The operation's patience counts from its first wait.
    bool m_isWaiting QVLIB_GUARDED_BY(m_lock) = false;
    std::chrono::steady_clock::time_point m_deadline QVLIB_GUARDED_BY(m_lock);
    std::unordered_map<std::string, KeyId> m_paths QVLIB_GUARDED_BY(m_lock);
    std::string m_scratch QVLIB_GUARDED_BY(m_lock);

    /// The last row that was enumerated: walking on from it needs no counting from the start.
    struct
    {
        KeyId id = kAbsent;
        Kind kind = Kind::keys;
        DWORD index = 0;
        std::string folded;     // of a key
        std::int64_t place = 0; // of a value
    } m_position QVLIB_GUARDED_BY(m_lock);
};

} // namespace qvlib::host
