#include "host/linux/internal/hive.h"

#include "host/linux/internal/registry_name.h"

#include <cstring>

namespace qvlib::host
{

namespace
{

/// Paths that are remembered; forgotten all at once when there are more.
constexpr std::size_t kMaxPaths = 4096;

std::string_view TextColumn(sqlite3_stmt * statement, int column)
{
    auto const text = reinterpret_cast<char const *>(sqlite3_column_text(statement, column));
    return {text != nullptr ? text : "", static_cast<std::size_t>(sqlite3_column_bytes(statement, column))};
}

DWORD AsDword(sqlite3_stmt * statement, int column)
{
    return static_cast<DWORD>(sqlite3_column_int64(statement, column));
}

} // namespace

/// A prepared statement in use: reset at the end, so that no transaction stays open.
class Hive::Statement
{
public:
    Statement(Hive & hive, Query query) : m_hive(hive), m_statement(hive.m_statements[query]) {}
    ~Statement() { sqlite3_reset(m_statement); }
    Statement(Statement const &) = delete;
    Statement & operator=(Statement const &) = delete;

    Statement & Bind(int place, std::int64_t number)
    {
        Note(sqlite3_bind_int64(m_statement, place, number));
        return *this;
    }
    /// The text must stay while the statement runs.
    Statement & Bind(int place, std::string_view text)
    {
        Note(sqlite3_bind_text(m_statement, place, text.data(), static_cast<int>(text.size()), SQLITE_STATIC));
        return *this;
    }
    Statement & Bind(int place, BYTE const * data, DWORD size)
    {
        Note(size == 0 ? sqlite3_bind_zeroblob(m_statement, place, 0)
                       : sqlite3_bind_blob64(m_statement, place, data, size, SQLITE_STATIC));
        return *this;
    }
    /// ERROR_SUCCESS with `row` told, or the failure. Who has a statement holds its hive's lock.
    LSTATUS Step(bool & row) QVLIB_NO_THREAD_SAFETY_ANALYSIS
    {
        row = false;
        if (m_code == SQLITE_OK)
            m_code = sqlite3_step(m_statement);
        row = m_code == SQLITE_ROW;
        LSTATUS const status = m_hive.Status(m_code);
        if (status == ERROR_SUCCESS)
            m_code = SQLITE_OK;
        return status;
    }
    LSTATUS Run()
    {
        bool row;
        return Step(row);
    }
    operator sqlite3_stmt *() const { return m_statement; }

private:
    void Note(int code)
    {
        if (m_code == SQLITE_OK)
            m_code = code;
    }

    Hive & m_hive;
    sqlite3_stmt * m_statement;
    int m_code = SQLITE_OK;
};

char const * Hive::Sql(Query query)
{
    switch (query)
    {
    case findKey:
        return "SELECT id FROM keys WHERE parent=?1 AND folded=?2";
    case keyExists:
        return "SELECT 1 FROM keys WHERE id=?1";
    case insertKey:
        return "INSERT INTO keys(parent,folded,name)VALUES(?1,?2,?3)";
    case removeKey:
        return "DELETE FROM keys WHERE id=?1";
    case hasSubKeys:
        return "SELECT 1 FROM keys WHERE parent=?1 LIMIT 1";
    case getValue:
        return "SELECT type,data FROM vals WHERE key=?1 AND folded=?2";
    case updateValue:
        return "UPDATE vals SET type=?3,data=?4 WHERE key=?1 AND folded=?2";
    case setValue:
        // Writes nothing when the key is gone. The name and the place stay as they were first written.
        return "INSERT INTO vals(key,folded,name,type,data,place)SELECT ?1,?2,?3,?4,?5,"
               "(SELECT coalesce(max(place),0)+1 FROM vals WHERE key=?1)"
               "WHERE ?1=0 OR EXISTS(SELECT 1 FROM keys WHERE id=?1) "
               "ON CONFLICT(key,folded)DO UPDATE SET type=excluded.type,data=excluded.data";
    case removeValue:
        return "DELETE FROM vals WHERE key=?1 AND folded=?2";
    case removeValues:
        return "DELETE FROM vals WHERE key=?1";
    case keyAt:
        return "SELECT folded,name FROM keys WHERE parent=?1 ORDER BY folded LIMIT 1 OFFSET ?2";
    case keyAfter:
        return "SELECT folded,name FROM keys WHERE parent=?1 AND folded>?2 ORDER BY folded LIMIT 1";
    case valueAt:
        return "SELECT place,name,type,data FROM vals WHERE key=?1 ORDER BY place LIMIT 1 OFFSET ?2";
    case valueAfter:
        return "SELECT place,name,type,data FROM vals WHERE key=?1 AND place>?2 ORDER BY place LIMIT 1";
    case allKeys:
        return "SELECT folded,name,0 FROM keys WHERE parent=?1 ORDER BY folded";
    case allValues:
        return "SELECT folded,name,length(data) FROM vals WHERE key=?1 ORDER BY place";
    case keyInfo:
        return "SELECT count(*),max(length(name)) FROM keys WHERE parent=?1";
    case valueInfo:
        return "SELECT count(*),max(length(name)),max(length(data)) FROM vals WHERE key=?1";
    case beginRead:
        return "BEGIN";
    case beginWrite:
        return "BEGIN IMMEDIATE";
    case commit:
        return "COMMIT";
    case rollback:
        return "ROLLBACK";
    case queryCount:
        break;
    }
    return "";
}

template <class Work>
LSTATUS Hive::Read(Work const & work)
{
    MutexLock const guard(m_lock);
    for (;;)
    {
        if (LSTATUS const status = Connect(false))
            return status;
        LSTATUS const status = work();
        if (!m_unchanging)
            return status;
        Stamp now;
        if ((TakeStamp(now) && now == m_stamp) || TimeLeft() <= std::chrono::steady_clock::duration::zero())
            return status;
        Close(false); // the file changed meanwhile
    }
}

/// Runs `work` as one transaction: all of it, or nothing.
template <class Work>
LSTATUS Hive::Write(Work const & work)
{
    MutexLock const guard(m_lock);
    if (LSTATUS const status = Connect(true))
        return status;
    ForgetPosition();
    struct Undo
    {
        Hive & hive;
        ~Undo()
        {
            if (sqlite3_get_autocommit(hive.m_db) == 0)
                hive.Run(rollback);
        }
    } const undo{*this};
    if (LSTATUS const status = Run(beginWrite))
        return status;
    if (LSTATUS const status = work())
        return status;
    return Run(commit);
}

LSTATUS Hive::Run(Query query) { return Statement(*this, query).Run(); }

LSTATUS Hive::ExistsLocked(KeyId id)
{
    if (id == kRoot)
        return ERROR_SUCCESS;
    Statement query(*this, keyExists);
    bool row;
    LSTATUS const status = query.Bind(1, id).Step(row);
    return status != ERROR_SUCCESS ? status : row ? ERROR_SUCCESS : ERROR_KEY_DELETED;
}

LSTATUS Hive::FindLocked(KeyId base, std::string const & folded, KeyId & id)
{
    id = base;
    if (folded.empty())
        return ExistsLocked(base);

    m_scratch.assign(reinterpret_cast<char const *>(&base), sizeof base);
    m_scratch += folded;
    if (auto const known = m_paths.find(m_scratch); known != m_paths.end())
    {
        id = known->second;
        LSTATUS const status = ExistsLocked(id);
        if (status != ERROR_KEY_DELETED)
            return status;
        m_paths.erase(known); // deleted; perhaps made again since
        id = base;
    }
    for (std::size_t start = 0; start <= folded.size();)
    {
        std::size_t const stop = std::min(folded.find('\\', start), folded.size());
        Statement query(*this, findKey);
        bool row;
        if (LSTATUS const status =
                query.Bind(1, id).Bind(2, std::string_view(folded).substr(start, stop - start)).Step(row))
            return status;
        if (!row)
        {
            LSTATUS const status = ExistsLocked(base);
            return status != ERROR_SUCCESS ? status : ERROR_FILE_NOT_FOUND;
        }
        id = sqlite3_column_int64(query, 0);
        if (id <= kRoot) // the root below another key: no end of keys
            return ERROR_BADDB;
        start = stop + 1;
    }
    if (m_paths.size() >= kMaxPaths)
        m_paths.clear();
    m_paths.emplace(m_scratch, id);
    return ERROR_SUCCESS;
}

LSTATUS Hive::Find(KeyId base, std::string const & folded, KeyId & id)
{
    LSTATUS const status = Read([&]() QVLIB_REQUIRES(m_lock) { return FindLocked(base, folded, id); });
    if (status == ERROR_FILE_NOT_FOUND && base != kRoot && folded.empty())
        return ERROR_KEY_DELETED;
    return status;
}

LSTATUS Hive::CreateLocked(KeyId base, std::string const & folded, std::string const & path, KeyId & id, bool & isNew)
{
    isNew = false;
    id = base;
    if (LSTATUS const status = ExistsLocked(base))
        return status;
    std::size_t start = 0;
    std::size_t nameStart = 0;
    while (start <= folded.size() && !folded.empty())
    {
        std::size_t const stop = std::min(folded.find('\\', start), folded.size());
        std::size_t const nameStop = std::min(path.find('\\', nameStart), path.size());
        std::string_view const foldedName = std::string_view(folded).substr(start, stop - start);
        std::string_view const name = std::string_view(path).substr(nameStart, nameStop - nameStart);
        Statement query(*this, findKey);
        bool row;
        if (LSTATUS const status = query.Bind(1, id).Bind(2, foldedName).Step(row))
            return status;
        if (row)
            id = sqlite3_column_int64(query, 0);
        else
        {
            Statement insert(*this, insertKey);
            if (LSTATUS const status = insert.Bind(1, id).Bind(2, foldedName).Bind(3, name).Run())
                return status;
            id = sqlite3_last_insert_rowid(m_db);
            isNew = true;
        }
        start = stop + 1;
        nameStart = nameStop + 1;
    }
    return ERROR_SUCCESS;
}

LSTATUS Hive::Create(KeyId base, std::string const & folded, std::string const & path, KeyId & id, bool & isNew)
{
    return Write([&]() QVLIB_REQUIRES(m_lock) { return CreateLocked(base, folded, path, id, isNew); });
}

LSTATUS Hive::CreateWhole(KeyId base, std::string const & folded, std::string const & path,
                          std::span<Value const> values)
{
    return Write(
        [&]() QVLIB_REQUIRES(m_lock)
        {
            KeyId id;
            bool isNew;
            if (LSTATUS const status = CreateLocked(base, folded, path, id, isNew))
                return status;
            {
                Statement query(*this, getValue);
                bool row;
                if (LSTATUS const status = query.Bind(1, id).Bind(2, values.back().folded).Step(row))
                    return status;
                if (row)
                    return ERROR_ALREADY_EXISTS;
            }
            for (Value const & value : values)
                if (LSTATUS const status = AddValueLocked(id, value.folded, value.name, value.type, value.data.data(),
                                                          static_cast<DWORD>(value.data.size())))
                    return status;
            return ERROR_SUCCESS;
        });
}

LSTATUS Hive::DeleteKey(KeyId base, std::string const & folded)
{
    if (base == kRoot && folded.empty())
        return ERROR_ACCESS_DENIED;
    KeyId id = kAbsent;
    // Looked for first, so that the missing key of a missing or read-only hive is told as missing.
    if (LSTATUS const status = Find(base, folded, id))
        return status;
    return Write(
        [&]() QVLIB_REQUIRES(m_lock)
        {
            if (LSTATUS const status = FindLocked(base, folded, id))
                return status;
            {
                Statement query(*this, hasSubKeys);
                bool row;
                if (LSTATUS const status = query.Bind(1, id).Step(row))
                    return status;
                if (row)
                    return ERROR_ACCESS_DENIED;
            }
            if (LSTATUS const status = Statement(*this, removeValues).Bind(1, id).Run())
                return status;
            return Statement(*this, removeKey).Bind(1, id).Run();
        });
}

LSTATUS Hive::GetValue(KeyId id, std::string const & folded, DWORD * type, BYTE * data, DWORD * size)
{
    DWORD const room = size != nullptr ? *size : 0;
    return Read(
        [&]() QVLIB_REQUIRES(m_lock)
        {
            if (size != nullptr)
                *size = room; // this may be a second attempt
            Statement query(*this, getValue);
            bool row;
            if (LSTATUS const failure = query.Bind(1, id).Bind(2, folded).Step(row))
                return failure;
            if (!row)
            {
                LSTATUS const key = ExistsLocked(id);
                return key != ERROR_SUCCESS ? key : ERROR_FILE_NOT_FOUND;
            }
            if (type != nullptr)
                *type = AsDword(query, 0);
            void const * const bytes = sqlite3_column_blob(query, 1);
            return CopyData(bytes, static_cast<std::size_t>(sqlite3_column_bytes(query, 1)), data, size);
        });
}

LSTATUS Hive::SetValue(KeyId id, std::string const & folded, std::string const & name, DWORD type, BYTE const * data,
                       DWORD size)
{
    // A single statement is a transaction by itself. Between the two another process may write the value first: the
    // second then changes it.
    MutexLock const guard(m_lock);
    if (LSTATUS const status = Connect(true))
        return status;
    ForgetPosition();
    // Most writes change a value that is there, which needs no look at its key or its place.
    {
        Statement update(*this, updateValue);
        if (LSTATUS const status =
                update.Bind(1, id).Bind(2, folded).Bind(3, static_cast<std::int64_t>(type)).Bind(4, data, size).Run())
            return status;
        if (sqlite3_changes(m_db) != 0)
            return ERROR_SUCCESS;
    }
    return AddValueLocked(id, folded, name, type, data, size);
}

LSTATUS Hive::AddValueLocked(KeyId id, std::string const & folded, std::string const & name, DWORD type,
                             BYTE const * data, DWORD size)
{
    Statement change(*this, setValue);
    if (LSTATUS const status = change.Bind(1, id)
                                   .Bind(2, folded)
                                   .Bind(3, name)
                                   .Bind(4, static_cast<std::int64_t>(type))
                                   .Bind(5, data, size)
                                   .Run())
        return status;
    return sqlite3_changes(m_db) != 0 ? ERROR_SUCCESS : ERROR_KEY_DELETED;
}

LSTATUS Hive::DeleteValue(KeyId id, std::string const & folded)
{
    if (LSTATUS const status = GetValue(id, folded, nullptr, nullptr, nullptr))
        return status;
    MutexLock const guard(m_lock);
    if (LSTATUS const status = Connect(true))
        return status;
    ForgetPosition();
    if (LSTATUS const status = Statement(*this, removeValue).Bind(1, id).Bind(2, folded).Run())
        return status;
    return sqlite3_changes(m_db) != 0 ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
}

LSTATUS Hive::Enumerate(KeyId id, Kind kind, DWORD index, Output const & output)
{
    DWORD const nameRoom = *output.nameLength;
    DWORD const room = output.size != nullptr ? *output.size : 0;
    LSTATUS const status = Read(
        [&]() QVLIB_REQUIRES(m_lock)
        {
            *output.nameLength = nameRoom;
            if (output.size != nullptr)
                *output.size = room;
            bool const goesOn =
                m_position.id == id && m_position.kind == kind && index != 0 && m_position.index == index - 1;
            Statement query(*this, kind == Kind::keys ? (goesOn ? keyAfter : keyAt) : (goesOn ? valueAfter : valueAt));
            query.Bind(1, id);
            if (!goesOn)
                query.Bind(2, static_cast<std::int64_t>(index));
            else if (kind == Kind::keys)
                query.Bind(2, m_position.folded);
            else
                query.Bind(2, m_position.place);
            bool row;
            if (LSTATUS const failure = query.Step(row))
                return failure;
            if (!row)
            {
                LSTATUS const key = ExistsLocked(id);
                return key != ERROR_SUCCESS ? key : ERROR_NO_MORE_ITEMS;
            }
            // A row that lies no farther on, or has a place of another type, comes of damage. The caller asks for the
            // next index until there is none, and would be given that row for ever.
            bool const isFarther = kind == Kind::keys
                                       ? sqlite3_column_type(query, 0) == SQLITE_TEXT &&
                                             (!goesOn || TextColumn(query, 0) > std::string_view(m_position.folded))
                                       : sqlite3_column_type(query, 0) == SQLITE_INTEGER &&
                                             (!goesOn || sqlite3_column_int64(query, 0) > m_position.place);
            if (!isFarther)
                return ERROR_BADDB;
            LSTATUS copied = ERROR_SUCCESS;
            if (kind == Kind::values)
            {
                if (output.type != nullptr)
                    *output.type = AsDword(query, 2);
                void const * const bytes = sqlite3_column_blob(query, 3);
                copied =
                    CopyData(bytes, static_cast<std::size_t>(sqlite3_column_bytes(query, 3)), output.data, output.size);
            }
            if (LSTATUS const named = CopyName(TextColumn(query, 1), output.name, output.nameLength))
                copied = named;
            if (copied != ERROR_SUCCESS)
                return copied;
            if (kind == Kind::keys)
                m_position.folded = TextColumn(query, 0); // the statement has run: what it was bound to may change
            else
                m_position.place = sqlite3_column_int64(query, 0);
            m_position.id = id;
            m_position.kind = kind;
            m_position.index = index;
            return ERROR_SUCCESS;
        });
    if (status == ERROR_FILE_NOT_FOUND) // there is no hive yet
        return id == kRoot ? ERROR_NO_MORE_ITEMS : ERROR_KEY_DELETED;
    return status;
}

LSTATUS Hive::List(KeyId id, Kind kind, std::vector<Entry> & entries)
{
    LSTATUS const status = Read(
        [&]() QVLIB_REQUIRES(m_lock)
        {
            entries.clear();
            if (LSTATUS const key = ExistsLocked(id))
                return key;
            Statement query(*this, kind == Kind::keys ? allKeys : allValues);
            query.Bind(1, id);
            for (;;)
            {
                bool row;
                if (LSTATUS const failure = query.Step(row))
                    return failure;
                if (!row)
                    return ERROR_SUCCESS;
                entries.push_back({std::string(TextColumn(query, 0)), std::string(TextColumn(query, 1)),
                                   static_cast<std::size_t>(sqlite3_column_int64(query, 2))});
            }
        });
    if (status == ERROR_FILE_NOT_FOUND)
        return id == kRoot ? ERROR_SUCCESS : ERROR_KEY_DELETED;
    return status;
}

LSTATUS Hive::GetInfo(KeyId id, Info & info)
{
    LSTATUS const status = Read(
        [&]() QVLIB_REQUIRES(m_lock)
        {
            info = {};
            if (LSTATUS const key = ExistsLocked(id))
                return key;
            bool row;
            Statement keys(*this, keyInfo);
            if (LSTATUS const failure = keys.Bind(1, id).Step(row))
                return failure;
            info.subKeys = AsDword(keys, 0);
            info.maxSubKeyLength = AsDword(keys, 1);
            Statement values(*this, valueInfo);
            if (LSTATUS const failure = values.Bind(1, id).Step(row))
                return failure;
            info.values = AsDword(values, 0);
            info.maxValueNameLength = AsDword(values, 1);
            info.maxValueSize = AsDword(values, 2);
            return ERROR_SUCCESS;
        });
    if (status == ERROR_FILE_NOT_FOUND)
        return id == kRoot ? ERROR_SUCCESS : ERROR_KEY_DELETED;
    return status;
}

LSTATUS Hive::CopyData(void const * from, std::size_t length, BYTE * data, DWORD * size)
{
    if (size == nullptr)
        return ERROR_SUCCESS;
    DWORD const room = *size;
    *size = static_cast<DWORD>(length);
    if (data == nullptr)
        return ERROR_SUCCESS;
    if (length > room)
        return ERROR_MORE_DATA;
    if (length != 0)
        std::memcpy(data, from, length);
    return ERROR_SUCCESS;
}

LSTATUS Hive::CopyName(std::string_view from, wchar_t * name, DWORD * length)
{
    std::size_t const needed = NameLength(from);
    if (needed + 1 > *length)
        return ERROR_MORE_DATA;
    DecodeName(from, name);
    name[needed] = L'\0';
    *length = static_cast<DWORD>(needed);
    return ERROR_SUCCESS;
}

} // namespace qvlib::host
