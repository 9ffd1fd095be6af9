// The file of a hive: made, checked, opened and closed.

#include "host/linux/internal/hive.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

namespace qvlib::host
{

namespace
{

constexpr std::uint32_t kApplicationId = 0x51565247; // "QVRG"
constexpr std::uint32_t kVersion = 1;
/// How long an operation waits for other processes in all.
constexpr std::chrono::milliseconds kPatience{2000};

constexpr char kKeysSql[] = "CREATE TABLE keys(id INTEGER PRIMARY KEY AUTOINCREMENT,parent INTEGER NOT NULL,"
                            "folded TEXT NOT NULL,name TEXT NOT NULL,UNIQUE(parent,folded))";
constexpr char kValuesSql[] = "CREATE TABLE vals(key INTEGER NOT NULL,folded TEXT NOT NULL,name TEXT NOT NULL,"
                              "type INTEGER NOT NULL,data BLOB NOT NULL,place INTEGER NOT NULL,"
                              "PRIMARY KEY(key,folded)) WITHOUT ROWID";
constexpr char kPlacesSql[] = "CREATE UNIQUE INDEX valsByPlace ON vals(key,place)";

LSTATUS StatusOfErrno(int error)
{
    switch (error)
    {
    case ENOENT:
    case ENOTDIR:
        return ERROR_FILE_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EROFS:
        return ERROR_ACCESS_DENIED;
    case ENOSPC:
    case EDQUOT:
        return ERROR_DISK_FULL;
    case ENOMEM:
        return ERROR_NOT_ENOUGH_MEMORY;
    default:
        return ERROR_CANTOPEN;
    }
}

/// Closes and, unless told otherwise, removes a file.
struct PendingFile
{
    explicit PendingFile(std::string name) : path(std::move(name)) {}
    ~PendingFile() { ::unlink(path.c_str()); }
    PendingFile(PendingFile const &) = delete;
    PendingFile & operator=(PendingFile const &) = delete;
    std::string path;
};

struct Descriptor
{
    explicit Descriptor(int fd) : value(fd) {}
    ~Descriptor()
    {
        if (value >= 0)
            ::close(value);
    }
    Descriptor(Descriptor const &) = delete;
    Descriptor & operator=(Descriptor const &) = delete;
    int value;
};

std::uint32_t BigEndian(unsigned char const * bytes)
{
    return static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
           static_cast<std::uint32_t>(bytes[2]) << 8 | static_cast<std::uint32_t>(bytes[3]);
}

} // namespace

Hive::Hive(std::string path, bool shared) : m_path(std::move(path)), m_shared(shared) {}

Hive::~Hive()
{
    Close(false);
    Retire();
}

bool Hive::Stamp::operator==(Stamp const & other) const
{
    return device == other.device && inode == other.inode && size == other.size &&
           modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec &&
           changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec && hasLog == other.hasLog;
}

bool Hive::TakeStamp(Stamp & stamp) const
{
    struct stat file;
    if (::stat(m_path.c_str(), &file) != 0)
        return false;
    struct stat log;
    bool const hasLog = ::stat((m_path + "-wal").c_str(), &log) == 0 && log.st_size != 0;
    stamp = {file.st_dev, file.st_ino, file.st_size, file.st_mtim, file.st_ctim, hasLog};
    return true;
}

bool Hive::IsReadOnlyFile() const
{
    // A file without any write permission is marked read-only, whatever the system would let its owner or root do.
    struct stat file;
    if (::stat(m_path.c_str(), &file) != 0)
        return false;
    if ((file.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0 || ::access(m_path.c_str(), W_OK) != 0)
        return true;
    // The log lies in the same folder.
    std::string const folder = std::filesystem::path(m_path).parent_path().string();
    return ::access(folder.c_str(), W_OK) != 0;
}

bool Hive::IsCurrent()
{
    MutexLock const guard(m_lock);
    if (m_pin >= 0 && !IsSameFile())
        Retire();
    return !IsRetired();
}

void Hive::Retire()
{
    m_retired.store(true, std::memory_order_relaxed);
    if (m_pin >= 0)
        ::close(m_pin);
    m_pin = -1;
}

bool Hive::Pin()
{
    if (m_pin >= 0)
        return true;
    // Such a descriptor can be closed without taking along the locks that SQLite holds on the file.
    int const pin = ::open(m_path.c_str(), O_PATH | O_CLOEXEC);
    struct stat file;
    if (pin >= 0 && ::fstat(pin, &file) == 0 && file.st_dev == m_stamp.device && file.st_ino == m_stamp.inode)
    {
        m_pin = pin;
        return true;
    }
    if (pin >= 0)
        ::close(pin);
    return false;
}

bool Hive::IsSameFile() const
{
    struct stat file;
    return ::stat(m_path.c_str(), &file) == 0 && file.st_dev == m_stamp.device && file.st_ino == m_stamp.inode;
}

LSTATUS Hive::CheckWritable()
{
    MutexLock const guard(m_lock);
    bool const readOnly = m_db != nullptr ? m_readOnly : IsReadOnlyFile();
    return readOnly ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
}

LSTATUS Hive::Connect(bool forWriting)
{
    m_isWaiting = false;
    // Ids hold for one file only. Once that is removed or replaced they name nothing, and a write would be lost.
    // Reads through an open connection go without this look: what they find was true when the file went.
    if (m_pin >= 0 && (m_db == nullptr || m_unchanging || forWriting) && !IsSameFile())
    {
        Close(false);
        Retire();
    }
    if (IsRetired())
        return ERROR_KEY_DELETED;
    if (m_db != nullptr && m_unchanging)
    {
        Stamp now;
        if (!TakeStamp(now) || !(now == m_stamp))
            Close(false);
    }
    if (m_db != nullptr)
        return forWriting && m_readOnly ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;

    for (int attempt = 0;; ++attempt)
    {
        if (!TakeStamp(m_stamp))
        {
            if (errno != ENOENT && errno != ENOTDIR)
                return StatusOfErrno(errno);
            if (!forWriting)
                return ERROR_FILE_NOT_FOUND;
            if (LSTATUS const status = MakeFile())
                return status;
            if (!TakeStamp(m_stamp))
                return StatusOfErrno(errno);
        }
        m_readOnly = IsReadOnlyFile();
        if (forWriting && m_readOnly)
            return ERROR_ACCESS_DENIED;
        LSTATUS status = CheckFile();
        if (status == ERROR_SUCCESS)
            status = OpenDatabase(m_readOnly, m_readOnly && !m_stamp.hasLog);
        if (status == ERROR_SUCCESS)
        {
            if (Pin())
                return ERROR_SUCCESS;
            status = ERROR_BUSY; // replaced just now
        }
        Close(false);
        if (status != ERROR_BUSY || OnBusy(this, attempt) == 0)
            return status;
    }
}

LSTATUS Hive::CheckFile() const
{
    // SQLite would recover, or at least lock, any database that it is shown: look at the header first.
    Descriptor const file(::open(m_path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.value < 0)
        return StatusOfErrno(errno);
    struct stat status;
    if (::fstat(file.value, &status) != 0 || !S_ISREG(status.st_mode))
        return ERROR_BADDB;
    unsigned char header[100];
    if (::pread(file.value, header, sizeof header, 0) != static_cast<ssize_t>(sizeof header))
        return ERROR_BADDB;
    if (std::memcmp(header, "SQLite format 3", 16) != 0 || BigEndian(header + 68) != kApplicationId ||
        BigEndian(header + 60) != kVersion)
        return ERROR_BADDB;
    return ERROR_SUCCESS;
}

LSTATUS Hive::MakeFile() const
{
    std::filesystem::path const folder = std::filesystem::path(m_path).parent_path();
    std::error_code error;
    if (std::filesystem::create_directories(folder, error) && !m_shared)
        ::chmod(folder.c_str(), S_IRWXU);
    static std::atomic<unsigned int> count{0};
    PendingFile const pending(m_path + ".new-" + std::to_string(::getpid()) + "-" +
                              std::to_string(count.fetch_add(1, std::memory_order_relaxed)));
    {
        Descriptor const file(::open(pending.path.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC,
                                     m_shared ? S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH : S_IRUSR | S_IWUSR));
        if (file.value < 0)
            return errno == ENOENT ? ERROR_ACCESS_DENIED : StatusOfErrno(errno);
    }
    sqlite3 * db = nullptr;
    int code = sqlite3_open_v2(pending.path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (code == SQLITE_OK)
    {
        std::string const sql = "PRAGMA journal_mode=MEMORY;PRAGMA synchronous=OFF;BEGIN;" + std::string(kKeysSql) +
                                ";" + kValuesSql + ";" + kPlacesSql +
                                ";PRAGMA application_id=" + std::to_string(kApplicationId) +
                                ";PRAGMA user_version=" + std::to_string(kVersion) + ";COMMIT";
        code = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr);
    }
    sqlite3_close(db);
    if (code != SQLITE_OK)
        return Status(code);
    {
        // Bytes 18 and 19 of the header are the versions that writers and readers need; 2 is WAL. Set here, since
        // SQLite itself would make the log files for the passing name.
        Descriptor const file(::open(pending.path.c_str(), O_RDWR | O_CLOEXEC));
        unsigned char const wal[2] = {2, 2};
        if (file.value < 0 || ::pwrite(file.value, wal, 2, 18) != 2 || ::fsync(file.value) != 0)
            return StatusOfErrno(errno);
    }
    // Another process may have been faster: its hive is as good.
    if (::link(pending.path.c_str(), m_path.c_str()) != 0 && errno != EEXIST)
        return StatusOfErrno(errno);
    return ERROR_SUCCESS;
}

LSTATUS Hive::OpenDatabase(bool readOnly, bool unchanging)
{
    std::string uri = "file:";
    for (char const c : m_path)
    {
        if (c == '%' || c == '?' || c == '#')
        {
            constexpr char kDigits[] = "0123456789ABCDEF";
            uri += '%';
            uri += kDigits[static_cast<unsigned char>(c) >> 4];
            uri += kDigits[static_cast<unsigned char>(c) & 15];
        }
        else
            uri += c;
    }
    if (unchanging)
        uri += "?immutable=1";
    int const flags = (readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE) | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_URI;
    int code = sqlite3_open_v2(uri.c_str(), &m_db, flags, nullptr);
    if (code != SQLITE_OK)
        return Status(code);
    m_unchanging = unchanging;
    sqlite3_extended_result_codes(m_db, 0);
    sqlite3_busy_handler(m_db, &Hive::OnBusy, this);
    // The file may come from anywhere: no trick in its schema is to run, and no damage to go unseen that can be seen.
    sqlite3_db_config(m_db, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(m_db, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    code = sqlite3_exec(m_db, "PRAGMA synchronous=NORMAL;PRAGMA mmap_size=0;PRAGMA cell_size_check=1", nullptr, nullptr,
                        nullptr);
    if (code != SQLITE_OK)
        return Status(code);
    if (LSTATUS const status = CheckSchema())
        return status;
    for (std::size_t i = 0; i < queryCount; ++i)
    {
        code = sqlite3_prepare_v3(m_db, Sql(static_cast<Query>(i)), -1, SQLITE_PREPARE_PERSISTENT, &m_statements[i],
                                  nullptr);
        if (code != SQLITE_OK)
            return Status(code);
    }
    return ERROR_SUCCESS;
}

LSTATUS Hive::CheckSchema()
{
    sqlite3_stmt * statement = nullptr;
    int code = sqlite3_prepare_v2(m_db, "SELECT name,sql FROM sqlite_schema WHERE sql IS NOT NULL ORDER BY name", -1,
                                  &statement, nullptr);
    std::string found;
    if (code == SQLITE_OK)
    {
        while ((code = sqlite3_step(statement)) == SQLITE_ROW)
        {
            for (int column = 0; column < 2; ++column)
            {
                auto const text = reinterpret_cast<char const *>(sqlite3_column_text(statement, column));
                found += text != nullptr ? text : "";
                found += '\n';
            }
        }
    }
    sqlite3_finalize(statement);
    if (code != SQLITE_DONE)
        return Status(code);
    std::string const wanted = std::string("keys\n") + kKeysSql +
                               "\nsqlite_sequence\nCREATE TABLE sqlite_sequence(name,seq)\nvals\n" + kValuesSql +
                               "\nvalsByPlace\n" + kPlacesSql + "\n";
    return found == wanted ? ERROR_SUCCESS : ERROR_BADDB;
}

void Hive::Close(bool keepLog) noexcept
{
    for (sqlite3_stmt *& statement : m_statements)
    {
        sqlite3_finalize(statement);
        statement = nullptr;
    }
    if (m_db != nullptr && keepLog)
        sqlite3_db_config(m_db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    sqlite3_close(m_db);
    m_db = nullptr;
    m_unchanging = false;
    m_paths.clear();
    ForgetPosition();
}

void Hive::Disconnect()
{
    MutexLock const guard(m_lock);
    Close(false);
}

void Hive::LockForFork()
{
    m_lock.Lock();
    Close(true);
}

std::chrono::steady_clock::duration Hive::TimeLeft()
{
    auto const now = std::chrono::steady_clock::now();
    if (!m_isWaiting)
        m_deadline = now + kPatience;
    m_isWaiting = true;
    return m_deadline - now;
}

int Hive::OnBusy(void * hive, int attempt)
{
    auto const left = static_cast<Hive *>(hive)->TimeLeft();
    if (left <= left.zero())
        return 0;
    // Short at first, since most transactions last microseconds.
    std::chrono::steady_clock::duration pause = std::chrono::microseconds(attempt < 8 ? 50 << attempt : 10000);
    std::this_thread::sleep_for(pause < left ? pause : left);
    return 1;
}

LSTATUS Hive::Status(int code) const
{
    switch (code & 0xFF)
    {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
        return ERROR_SUCCESS;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
        return ERROR_BUSY;
    case SQLITE_NOMEM:
        return ERROR_NOT_ENOUGH_MEMORY;
    case SQLITE_PERM:
    case SQLITE_READONLY:
    case SQLITE_AUTH:
        return ERROR_ACCESS_DENIED;
    case SQLITE_FULL:
        return ERROR_DISK_FULL;
    case SQLITE_CANTOPEN:
        return ERROR_CANTOPEN;
    case SQLITE_TOOBIG:
        return ERROR_INVALID_PARAMETER;
    case SQLITE_IOERR:
        return ERROR_REGISTRY_IO_FAILED;
    default:
        return ERROR_BADDB;
    }
}

} // namespace qvlib::host
