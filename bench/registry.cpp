// Registry values: read by name through a kept key, and written, each write a transaction of its own that outlives a
// kill of the process. Peers: bare SQLite with kept statements over the same tables in the same mode, LMDB, and GLib's
// key files, whose write is the whole file.

#include "qvlib/Registry.h"

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#ifdef QVLIB_PEER_LMDB
#include <lmdb.h>
#endif
#ifdef QVLIB_PEER_GLIB
#include <glib.h>
#endif

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

namespace
{

constexpr int kValues = 1000;

/// A folder for all of this run, which the registry is pointed at.
std::string const & Folder()
{
    struct Owned
    {
        Owned()
        {
            path = (std::filesystem::temp_directory_path() / "qvlib-bench-XXXXXX").string();
            if (::mkdtemp(path.data()) == nullptr)
                std::abort();
            ::setenv("QVLIB_REGISTRY", path.c_str(), 1);
        }
        ~Owned()
        {
            std::error_code ignored;
            std::filesystem::remove_all(path, ignored);
        }
        std::string path;
    };
    static Owned const owned;
    return owned.path;
}

std::wstring WideName(int i) { return L"Value" + std::to_wstring(1000 + i); }
std::string NarrowName(int i) { return "value" + std::to_string(1000 + i); }
constexpr wchar_t kText[] = L"the text of a value, as settings have it";

qvlib::CRegistry FilledKey()
{
    Folder();
    qvlib::CRegistry key(L"Software\\Bench\\Values", true, KEY_ALL_ACCESS);
    for (int i = 0; i < kValues; ++i)
        key.SetValue(WideName(i).c_str(), kText);
    return key;
}

void Read_Qvlib(benchmark::State & state)
{
    qvlib::CRegistry const key = FilledKey();
    std::vector<std::wstring> names;
    for (int i = 0; i < kValues; ++i)
        names.push_back(WideName(i));
    BYTE data[200];
    std::size_t next = 0;
    for (auto _ : state)
    {
        DWORD size = sizeof data;
        DWORD type;
        if (RegQueryValueExW(key, names[next].c_str(), nullptr, &type, data, &size) != ERROR_SUCCESS)
            state.SkipWithError("not found");
        benchmark::DoNotOptimize(data);
        next = (next + 7) % kValues;
    }
}
BENCHMARK(Read_Qvlib);

void Read_QvlibText(benchmark::State & state)
{
    qvlib::CRegistry const key = FilledKey();
    std::vector<std::wstring> names;
    for (int i = 0; i < kValues; ++i)
        names.push_back(WideName(i));
    std::size_t next = 0;
    for (auto _ : state)
    {
        qvlib::CQVString text;
        if (!key.GetValue(names[next].c_str(), text))
            state.SkipWithError("not found");
        benchmark::DoNotOptimize(text.GetString());
        next = (next + 7) % kValues;
    }
}
BENCHMARK(Read_QvlibText);

void OpenReadClose_Qvlib(benchmark::State & state)
{
    FilledKey();
    BYTE data[200];
    for (auto _ : state)
    {
        HKEY key;
        DWORD size = sizeof data;
        if (RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Bench\\Values", 0, KEY_READ, &key) != ERROR_SUCCESS ||
            RegQueryValueExW(key, L"Value1500", nullptr, nullptr, data, &size) != ERROR_SUCCESS)
            state.SkipWithError("not found");
        RegCloseKey(key);
    }
}
BENCHMARK(OpenReadClose_Qvlib);

void Write_Qvlib(benchmark::State & state)
{
    qvlib::CRegistry const key = FilledKey();
    std::vector<std::wstring> names;
    for (int i = 0; i < kValues; ++i)
        names.push_back(WideName(i));
    std::size_t next = 0;
    BYTE data[80] = {};
    for (auto _ : state)
    {
        ++data[0];
        if (RegSetValueExW(key, names[next].c_str(), 0, REG_BINARY, data, sizeof data) != ERROR_SUCCESS)
            state.SkipWithError("not written");
        next = (next + 7) % kValues;
    }
}
BENCHMARK(Write_Qvlib);

/// The registry's tables, without the registry.
struct Bare
{
    Bare()
    {
        std::string const path = Folder() + "/bare.db";
        std::filesystem::remove(path);
        sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
        Run("PRAGMA journal_mode=WAL");
        Run("PRAGMA synchronous=NORMAL");
        Run("CREATE TABLE vals(key INTEGER NOT NULL,folded TEXT NOT NULL,name TEXT NOT NULL,type INTEGER NOT NULL,"
            "data BLOB NOT NULL,PRIMARY KEY(key,folded)) WITHOUT ROWID");
        read = Prepare("SELECT type,data FROM vals WHERE key=?1 AND folded=?2");
        write = Prepare("INSERT INTO vals(key,folded,name,type,data)VALUES(?1,?2,?3,?4,?5)"
                        "ON CONFLICT(key,folded)DO UPDATE SET type=excluded.type,data=excluded.data");
        BYTE const data[80] = {};
        for (int i = 0; i < kValues; ++i)
            Write(NarrowName(i), data, sizeof data);
    }
    ~Bare()
    {
        sqlite3_finalize(read);
        sqlite3_finalize(write);
        sqlite3_close(db);
    }
    Bare(Bare const &) = delete;
    Bare & operator=(Bare const &) = delete;

    void Run(char const * sql) { sqlite3_exec(db, sql, nullptr, nullptr, nullptr); }
    sqlite3_stmt * Prepare(char const * sql)
    {
        sqlite3_stmt * statement = nullptr;
        sqlite3_prepare_v3(db, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
        return statement;
    }
    bool Write(std::string const & name, BYTE const * data, int size)
    {
        sqlite3_bind_int64(write, 1, 5);
        sqlite3_bind_text(write, 2, name.data(), static_cast<int>(name.size()), SQLITE_STATIC);
        sqlite3_bind_text(write, 3, name.data(), static_cast<int>(name.size()), SQLITE_STATIC);
        sqlite3_bind_int64(write, 4, 3);
        sqlite3_bind_blob(write, 5, data, size, SQLITE_STATIC);
        bool const done = sqlite3_step(write) == SQLITE_DONE;
        sqlite3_reset(write);
        return done;
    }

    sqlite3 * db = nullptr;
    sqlite3_stmt * read = nullptr;
    sqlite3_stmt * write = nullptr;
};

void Read_BareSqlite(benchmark::State & state)
{
    Bare bare;
    std::vector<std::string> names;
    for (int i = 0; i < kValues; ++i)
        names.push_back(NarrowName(i));
    BYTE data[200];
    std::size_t next = 0;
    for (auto _ : state)
    {
        sqlite3_bind_int64(bare.read, 1, 5);
        sqlite3_bind_text(bare.read, 2, names[next].data(), static_cast<int>(names[next].size()), SQLITE_STATIC);
        if (sqlite3_step(bare.read) != SQLITE_ROW)
            state.SkipWithError("not found");
        benchmark::DoNotOptimize(sqlite3_column_int64(bare.read, 0));
        std::memcpy(data, sqlite3_column_blob(bare.read, 1),
                    static_cast<std::size_t>(sqlite3_column_bytes(bare.read, 1)));
        benchmark::DoNotOptimize(data);
        sqlite3_reset(bare.read);
        next = (next + 7) % kValues;
    }
}
BENCHMARK(Read_BareSqlite);

void Write_BareSqlite(benchmark::State & state)
{
    Bare bare;
    std::vector<std::string> names;
    for (int i = 0; i < kValues; ++i)
        names.push_back(NarrowName(i));
    BYTE data[80] = {};
    std::size_t next = 0;
    for (auto _ : state)
    {
        ++data[0];
        if (!bare.Write(names[next], data, sizeof data))
            state.SkipWithError("not written");
        next = (next + 7) % kValues;
    }
}
BENCHMARK(Write_BareSqlite);

#ifdef QVLIB_PEER_LMDB
struct Lmdb
{
    Lmdb()
    {
        mdb_env_create(&env);
        mdb_env_set_mapsize(env, 64U << 20);
        // Like WAL with synchronous NORMAL: whole after a crash of the process, without a flush a transaction.
        mdb_env_open(env, (Folder() + "/lmdb").c_str(), MDB_NOSUBDIR | MDB_NOSYNC, 0600);
        MDB_txn * txn = nullptr;
        mdb_txn_begin(env, nullptr, 0, &txn);
        mdb_dbi_open(txn, nullptr, 0, &dbi);
        mdb_txn_commit(txn);
        BYTE data[80] = {};
        for (int i = 0; i < kValues; ++i)
            Write(NarrowName(i), data, sizeof data);
    }
    ~Lmdb() { mdb_env_close(env); }
    Lmdb(Lmdb const &) = delete;
    Lmdb & operator=(Lmdb const &) = delete;

    bool Write(std::string name, BYTE * data, std::size_t size)
    {
        MDB_txn * txn = nullptr;
        MDB_val key{name.size(), name.data()};
        MDB_val value{size, data};
        return mdb_txn_begin(env, nullptr, 0, &txn) == 0 && mdb_put(txn, dbi, &key, &value, 0) == 0 &&
               mdb_txn_commit(txn) == 0;
    }

    MDB_env * env = nullptr;
    MDB_dbi dbi = 0;
};

void Read_Lmdb(benchmark::State & state)
{
    Lmdb lmdb;
    BYTE data[200];
    int next = 0;
    for (auto _ : state)
    {
        std::string name = NarrowName(next);
        MDB_txn * txn = nullptr;
        mdb_txn_begin(lmdb.env, nullptr, MDB_RDONLY, &txn);
        MDB_val key{name.size(), name.data()};
        MDB_val value{};
        if (mdb_get(txn, lmdb.dbi, &key, &value) != 0)
            state.SkipWithError("not found");
        std::memcpy(data, value.mv_data, value.mv_size);
        benchmark::DoNotOptimize(data);
        mdb_txn_abort(txn);
        next = (next + 7) % kValues;
    }
}
BENCHMARK(Read_Lmdb);

void Write_Lmdb(benchmark::State & state)
{
    Lmdb lmdb;
    BYTE data[80] = {};
    int next = 0;
    for (auto _ : state)
    {
        ++data[0];
        if (!lmdb.Write(NarrowName(next), data, sizeof data))
            state.SkipWithError("not written");
        next = (next + 7) % kValues;
    }
}
BENCHMARK(Write_Lmdb);
#endif

#ifdef QVLIB_PEER_GLIB
void Read_GKeyFile(benchmark::State & state)
{
    GKeyFile * const file = g_key_file_new();
    for (int i = 0; i < kValues; ++i)
        g_key_file_set_string(file, "Values", NarrowName(i).c_str(), "the text of a value, as settings have it");
    int next = 0;
    for (auto _ : state)
    {
        gchar * const text = g_key_file_get_string(file, "Values", NarrowName(next).c_str(), nullptr);
        benchmark::DoNotOptimize(text);
        g_free(text);
        next = (next + 7) % kValues;
    }
    g_key_file_free(file);
}
BENCHMARK(Read_GKeyFile);

void Write_GKeyFile(benchmark::State & state)
{
    GKeyFile * const file = g_key_file_new();
    for (int i = 0; i < kValues; ++i)
        g_key_file_set_string(file, "Values", NarrowName(i).c_str(), "the text of a value, as settings have it");
    std::string const path = Folder() + "/keyfile.ini";
    int next = 0;
    for (auto _ : state)
    {
        g_key_file_set_string(file, "Values", NarrowName(next).c_str(), "another text of a value, as settings have it");
        if (!g_key_file_save_to_file(file, path.c_str(), nullptr))
            state.SkipWithError("not written");
        next = (next + 7) % kValues;
    }
    g_key_file_free(file);
}
BENCHMARK(Write_GKeyFile);
#endif

} // namespace

BENCHMARK_MAIN();
