#include "qvlib/host/registry.h"

#include "host/linux/internal/registry_name.h"
#include "host/linux/internal/registry_table.h"
#include "host/linux/internal/registry_text.h"

#include <algorithm>
#include <cwchar>
#include <new>
#include <string>
#include <unordered_set>

namespace
{

using qvlib::host::Hive;
using qvlib::host::Key;
using qvlib::host::KeyId;
using qvlib::host::Layer;
using qvlib::host::RegistryTable;

constexpr std::size_t kMaxKeyName = 255;
constexpr std::size_t kMaxValueName = 16383;
constexpr unsigned int kMaxDepth = 512;
constexpr DWORD kMaxValueSize = 1000000000;

constexpr REGSAM kDelete = 0x10000;
constexpr REGSAM kWriteDac = 0x40000;
constexpr REGSAM kWriteOwner = 0x80000;
constexpr REGSAM kGenericAll = 0x10000000;
constexpr REGSAM kGenericWrite = 0x40000000;
constexpr REGSAM kGenericRead = 0x80000000;
constexpr REGSAM kChanging = KEY_SET_VALUE | KEY_CREATE_SUB_KEY | KEY_CREATE_LINK | kDelete | kWriteDac | kWriteOwner;

/// Nothing is thrown through the platform's interface.
template <class Work>
LSTATUS Guarded(Work const & work) noexcept
{
    try
    {
        return work();
    }
    catch (std::bad_alloc const &)
    {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    catch (...)
    {
        return ERROR_CANTOPEN;
    }
}

std::shared_ptr<Key> KeyOf(HKEY handle) { return RegistryTable::Instance().Get(handle); }

/// A path as written, and folded; both without the closing backslash.
struct Path
{
    std::string name;
    std::string folded;
    unsigned int depth = 0;

    LSTATUS Set(wchar_t const * text)
    {
        std::wstring_view rest = text != nullptr ? text : L"";
        if (!rest.empty() && rest.back() == L'\\' && rest.size() > 1)
            rest.remove_suffix(1);
        std::wstring_view const all = rest;
        while (!rest.empty())
        {
            std::size_t const length = std::min(rest.find(L'\\'), rest.size());
            if (length == 0)
                return ERROR_BAD_PATHNAME;
            if (length > kMaxKeyName)
                return ERROR_INVALID_PARAMETER;
            ++depth;
            if (length + 1 == rest.size())
                return ERROR_BAD_PATHNAME; // two backslashes at the end
            rest.remove_prefix(std::min(length + 1, rest.size()));
        }
        if (!qvlib::host::AppendName(name, all) || !qvlib::host::AppendFolded(folded, all))
            return ERROR_INVALID_PARAMETER;
        return ERROR_SUCCESS;
    }
};

/// The name of a value as it is looked for.
LSTATUS Fold(wchar_t const * name, std::string & folded)
{
    std::wstring_view const all = name != nullptr ? name : L"";
    return all.size() <= kMaxValueName && qvlib::host::AppendFolded(folded, all) ? ERROR_SUCCESS
                                                                                 : ERROR_INVALID_PARAMETER;
}

REGSAM Specific(REGSAM access)
{
    if ((access & kGenericRead) != 0)
        access |= KEY_READ;
    if ((access & kGenericWrite) != 0)
        access |= KEY_WRITE;
    if ((access & kGenericAll) != 0)
        access |= KEY_ALL_ACCESS;
    return access;
}

/// Finishes an open: settles the access and makes the handle.
LSTATUS Hand(std::shared_ptr<Key> key, REGSAM access, HKEY * result)
{
    key->access = Specific(access);
    LSTATUS writable = ERROR_SUCCESS;
    if ((key->access & (kChanging | MAXIMUM_ALLOWED)) != 0)
        writable = key->upper.hive->CheckWritable();
    if (writable != ERROR_SUCCESS && (key->access & kChanging) != 0)
        return writable;
    if ((key->access & MAXIMUM_ALLOWED) != 0)
        key->access |= writable == ERROR_SUCCESS ? KEY_ALL_ACCESS : KEY_READ;
    *result = RegistryTable::Instance().Add(std::move(key));
    return *result != nullptr ? ERROR_SUCCESS : ERROR_NOT_ENOUGH_MEMORY;
}

/// Finds a sub-key of a layer; no failure if the layer does not have it, unless it is the only one.
LSTATUS FindIn(Layer const & layer, Path const & path, bool isOnly, Layer & found)
{
    found.hive = layer.hive;
    KeyId id = Hive::kAbsent;
    KeyId const base = layer.id;
    LSTATUS const status = base == Hive::kAbsent ? ERROR_FILE_NOT_FOUND : layer.hive->Find(base, path.folded, id);
    if (status == ERROR_SUCCESS)
        found.id = id;
    return !isOnly && (status == ERROR_FILE_NOT_FOUND || status == ERROR_KEY_DELETED) ? ERROR_SUCCESS : status;
}

std::wstring ClassesPath(Key const & base, std::wstring_view subKey)
{
    std::wstring path = base.classesPath;
    path.append(L"\\").append(subKey);
    while (path.back() == L'\\')
        path.pop_back();
    return path;
}

LSTATUS OpenBelow(Key const & base, wchar_t const * subKey, Path const & path, std::shared_ptr<Key> & key)
{
    key = std::make_shared<Key>();
    key->depth = base.depth + path.depth;
    if (key->depth > kMaxDepth)
        return ERROR_INVALID_PARAMETER;
    if (LSTATUS const status = FindIn(base.upper, path, !base.IsLayered(), key->upper))
        return status;
    if (!base.IsLayered())
        return ERROR_SUCCESS;
    if (LSTATUS const status = FindIn(base.lower, path, false, key->lower))
        return status;
    key->classesPath = path.depth != 0 ? ClassesPath(base, subKey) : base.classesPath;
    if (key->upper.id == Hive::kAbsent && key->lower.id == Hive::kAbsent && (path.depth != 0 || !base.isPredefined))
        return path.depth != 0 ? ERROR_FILE_NOT_FOUND : ERROR_KEY_DELETED;
    return ERROR_SUCCESS;
}

/// Before a write: makes the key in the user's hive if only the machine's has it.
LSTATUS NeedUpper(Key & key)
{
    if (key.upper.id != Hive::kAbsent)
        return ERROR_SUCCESS;
    Path path;
    if (LSTATUS const status = path.Set(key.classesPath.c_str()))
        return status;
    KeyId id;
    bool isNew;
    LSTATUS const status = key.upper.hive->Create(Hive::kRoot, path.folded, path.name, id, isNew);
    if (status == ERROR_SUCCESS)
        key.upper.id = id;
    return status;
}

/// The layers that have the key, the user's first. A handle keeps its layers; one whose key was deleted drops out.
std::vector<Layer const *> LayersOf(Key const & key)
{
    std::vector<Layer const *> layers;
    for (Layer const * const layer : {&key.upper, &key.lower})
        if (layer->hive != nullptr && layer->id != Hive::kAbsent)
            layers.push_back(layer);
    return layers;
}

bool IsGone(LSTATUS status) { return status == ERROR_FILE_NOT_FOUND || status == ERROR_KEY_DELETED; }

/// The entries of both layers as one list, the user's over the machine's.
LSTATUS Merged(Key const & key, Hive::Kind kind, std::vector<std::pair<Hive::Entry, Layer const *>> & merged)
{
    std::size_t live = 0;
    std::vector<Layer const *> const layers = LayersOf(key);
    for (Layer const * const layer : layers)
    {
        std::vector<Hive::Entry> entries;
        LSTATUS const status = layer->hive->List(layer->id, kind, entries);
        if (IsGone(status))
            continue;
        if (status != ERROR_SUCCESS)
            return status;
        ++live;
        for (Hive::Entry & entry : entries)
            merged.emplace_back(std::move(entry), layer);
    }
    if (live == 0 && !key.isPredefined)
        return ERROR_KEY_DELETED;
    std::unordered_set<std::string> seen;
    std::erase_if(merged, [&](auto const & entry) { return !seen.insert(entry.first.folded).second; });
    if (kind == Hive::Kind::keys)
        std::sort(merged.begin(), merged.end(),
                  [](auto const & a, auto const & b) { return a.first.folded < b.first.folded; });
    return ERROR_SUCCESS;
}

LSTATUS Enumerate(HKEY handle, Hive::Kind kind, REGSAM needed, DWORD index, Hive::Output const & output)
{
    std::shared_ptr<Key> const key = KeyOf(handle);
    if (key == nullptr)
        return ERROR_INVALID_HANDLE;
    if ((key->access & needed) == 0)
        return ERROR_ACCESS_DENIED;
    if (!key->IsLayered())
        return key->upper.hive->Enumerate(key->upper.id, kind, index, output);

    std::vector<std::pair<Hive::Entry, Layer const *>> merged;
    if (LSTATUS const status = Merged(*key, kind, merged))
        return status;
    if (index >= merged.size())
        return ERROR_NO_MORE_ITEMS;
    auto const & [entry, layer] = merged[index];
    LSTATUS status = ERROR_SUCCESS;
    if (kind == Hive::Kind::values)
        status = layer->hive->GetValue(layer->id, entry.folded, output.type, output.data, output.size);
    LSTATUS const named = Hive::CopyName(entry.name, output.name, output.nameLength);
    return named != ERROR_SUCCESS ? named : status;
}

LSTATUS DeleteKey(HKEY handle, wchar_t const * subKey)
{
    std::shared_ptr<Key> const base = KeyOf(handle);
    if (base == nullptr)
        return ERROR_INVALID_HANDLE;
    if (subKey == nullptr)
        return ERROR_INVALID_PARAMETER;
    Path path;
    if (LSTATUS const status = path.Set(subKey))
        return status;
    if (path.depth == 0 && base->isPredefined)
        return ERROR_ACCESS_DENIED;
    if (!base->IsLayered())
        return base->upper.hive->DeleteKey(base->upper.id, path.folded);
    LSTATUS status = ERROR_FILE_NOT_FOUND;
    for (Layer const * const layer : LayersOf(*base))
    {
        status = layer->hive->DeleteKey(layer->id, path.folded);
        if (!IsGone(status))
            return status;
    }
    return status;
}

} // namespace

LSTATUS qvlib::host::CreateWholeKey(LPCWSTR path, std::span<RegistryValue const> values)
{
    std::shared_ptr<Key> const user = KeyOf(HKEY_CURRENT_USER);
    Path parsed;
    if (LSTATUS const status = parsed.Set(path))
        return status;
    std::vector<Hive::Value> written(values.size());
    for (std::size_t i = 0; i < values.size(); ++i)
    {
        written[i].type = values[i].type;
        written[i].data = values[i].data;
        AppendName(written[i].name, values[i].name);
        if (LSTATUS const status = Fold(values[i].name, written[i].folded))
            return status;
    }
    return user->upper.hive->CreateWhole(user->upper.id, parsed.folded, parsed.name, written);
}

LSTATUS RegOpenKeyW(HKEY key, LPCWSTR subKey, HKEY * result)
{
    return RegOpenKeyExW(key, subKey, 0, MAXIMUM_ALLOWED, result);
}

LSTATUS RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, HKEY * result)
{
    return Guarded(
        [&]
        {
            if (result == nullptr)
                return ERROR_INVALID_PARAMETER;
            *result = nullptr;
            if (options != 0)
                return ERROR_INVALID_PARAMETER;
            std::shared_ptr<Key> const base = KeyOf(key);
            if (base == nullptr)
                return ERROR_INVALID_HANDLE;
            Path path;
            if (LSTATUS const status = path.Set(subKey))
                return status;
            if (path.depth == 0 && base->isPredefined)
            {
                *result = key;
                return ERROR_SUCCESS;
            }
            std::shared_ptr<Key> opened;
            if (LSTATUS const status = OpenBelow(*base, subKey, path, opened))
                return status;
            return Hand(std::move(opened), access, result);
        });
}

LSTATUS RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD reserved, [[maybe_unused]] LPWSTR keyClass, DWORD options,
                        REGSAM access, SECURITY_ATTRIBUTES const * security, HKEY * result, DWORD * disposition)
{
    return Guarded(
        [&]
        {
            if (result == nullptr)
                return ERROR_INVALID_PARAMETER;
            *result = nullptr;
            if (subKey == nullptr || reserved != 0 || options != REG_OPTION_NON_VOLATILE || security != nullptr)
                return ERROR_INVALID_PARAMETER;
            std::shared_ptr<Key> const base = KeyOf(key);
            if (base == nullptr)
                return ERROR_INVALID_HANDLE;
            Path path;
            if (LSTATUS const status = path.Set(subKey))
                return status;
            if (disposition != nullptr)
                *disposition = REG_OPENED_EXISTING_KEY;
            if (path.depth == 0 && base->isPredefined)
            {
                *result = key;
                return ERROR_SUCCESS;
            }
            // Most keys that are created are there: they can be opened without a write, in a read-only hive too.
            std::shared_ptr<Key> opened;
            LSTATUS status = OpenBelow(*base, subKey, path, opened);
            if (status == ERROR_SUCCESS)
                return Hand(std::move(opened), access, result);
            if (status != ERROR_FILE_NOT_FOUND)
                return status;

            opened = std::make_shared<Key>();
            opened->depth = base->depth + path.depth;
            opened->upper.hive = base->upper.hive;
            opened->lower.hive = base->lower.hive;
            if (base->IsLayered())
            {
                opened->classesPath = ClassesPath(*base, subKey);
                status = NeedUpper(*base);
                if (status != ERROR_SUCCESS)
                    return status;
            }
            KeyId id;
            bool isNew = false;
            status = base->upper.hive->Create(base->upper.id, path.folded, path.name, id, isNew);
            if (status != ERROR_SUCCESS)
                return status;
            opened->upper.id = id;
            if (disposition != nullptr && isNew)
                *disposition = REG_CREATED_NEW_KEY;
            return Hand(std::move(opened), access, result);
        });
}

LSTATUS RegCloseKey(HKEY key)
{
    return Guarded(
        [&]
        {
            if (qvlib::host::IsPredefinedKey(key))
                return ERROR_SUCCESS;
            return RegistryTable::Instance().Remove(key) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
        });
}

LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, DWORD * reserved, DWORD * type, BYTE * data, DWORD * size)
{
    return Guarded(
        [&]
        {
            if (reserved != nullptr || (data != nullptr && size == nullptr))
                return ERROR_INVALID_PARAMETER;
            std::shared_ptr<Key> const opened = KeyOf(key);
            if (opened == nullptr)
                return ERROR_INVALID_HANDLE;
            if ((opened->access & KEY_QUERY_VALUE) == 0)
                return ERROR_ACCESS_DENIED;
            std::string folded;
            if (LSTATUS const status = Fold(name, folded))
                return status;
            if (!opened->IsLayered())
                return opened->upper.hive->GetValue(opened->upper.id, folded, type, data, size);
            LSTATUS status = ERROR_FILE_NOT_FOUND;
            for (Layer const * const layer : LayersOf(*opened))
            {
                status = layer->hive->GetValue(layer->id, folded, type, data, size);
                if (!IsGone(status))
                    break;
            }
            return status;
        });
}

LSTATUS RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, BYTE const * data, DWORD size)
{
    return Guarded(
        [&]
        {
            if (reserved != 0 || (data == nullptr && size != 0) || size > kMaxValueSize)
                return ERROR_INVALID_PARAMETER;
            std::shared_ptr<Key> const opened = KeyOf(key);
            if (opened == nullptr)
                return ERROR_INVALID_HANDLE;
            if ((opened->access & KEY_SET_VALUE) == 0)
                return ERROR_ACCESS_DENIED;
            std::string folded;
            if (LSTATUS const status = Fold(name, folded))
                return status;
            std::string written;
            qvlib::host::AppendName(written, name != nullptr ? name : L"");
            if (LSTATUS const status = NeedUpper(*opened))
                return status;
            return opened->upper.hive->SetValue(opened->upper.id, folded, written, type, data, size);
        });
}

LSTATUS RegEnumValueW(HKEY key, DWORD index, LPWSTR name, DWORD * nameLength, DWORD * reserved, DWORD * type,
                      BYTE * data, DWORD * size)
{
    return Guarded(
        [&]
        {
            if (name == nullptr || nameLength == nullptr || reserved != nullptr || (data != nullptr && size == nullptr))
                return ERROR_INVALID_PARAMETER;
            return Enumerate(key, Hive::Kind::values, KEY_QUERY_VALUE, index, {name, nameLength, type, data, size});
        });
}

LSTATUS RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, DWORD * nameLength, DWORD * reserved, LPWSTR keyClass,
                      DWORD * classLength, FILETIME * lastWrite)
{
    return Guarded(
        [&]
        {
            if (name == nullptr || nameLength == nullptr || reserved != nullptr || lastWrite != nullptr ||
                (keyClass != nullptr && classLength == nullptr))
                return ERROR_INVALID_PARAMETER;
            LSTATUS const status = Enumerate(key, Hive::Kind::keys, KEY_ENUMERATE_SUB_KEYS, index,
                                             {name, nameLength, nullptr, nullptr, nullptr});
            if (status == ERROR_SUCCESS && classLength != nullptr)
            {
                if (keyClass != nullptr && *classLength != 0)
                    *keyClass = L'\0';
                *classLength = 0;
            }
            return status;
        });
}

LSTATUS RegDeleteKeyW(HKEY key, LPCWSTR subKey)
{
    return Guarded([&] { return DeleteKey(key, subKey); });
}

LSTATUS RegDeleteKeyExW(HKEY key, LPCWSTR subKey, [[maybe_unused]] REGSAM access, DWORD reserved)
{
    return Guarded([&] { return reserved != 0 ? ERROR_INVALID_PARAMETER : DeleteKey(key, subKey); });
}

LSTATUS RegDeleteValueW(HKEY key, LPCWSTR name)
{
    return Guarded(
        [&]
        {
            std::shared_ptr<Key> const opened = KeyOf(key);
            if (opened == nullptr)
                return ERROR_INVALID_HANDLE;
            if ((opened->access & KEY_SET_VALUE) == 0)
                return ERROR_ACCESS_DENIED;
            std::string folded;
            if (LSTATUS const status = Fold(name, folded))
                return status;
            if (!opened->IsLayered())
                return opened->upper.hive->DeleteValue(opened->upper.id, folded);
            LSTATUS status = ERROR_FILE_NOT_FOUND;
            for (Layer const * const layer : LayersOf(*opened))
            {
                status = layer->hive->DeleteValue(layer->id, folded);
                if (!IsGone(status))
                    break;
            }
            return status;
        });
}

LSTATUS RegQueryInfoKeyW(HKEY key, LPWSTR keyClass, DWORD * classLength, DWORD * reserved, DWORD * subKeys,
                         DWORD * maxSubKeyLength, DWORD * maxClassLength, DWORD * values, DWORD * maxValueNameLength,
                         DWORD * maxValueSize, DWORD * securitySize, FILETIME * lastWrite)
{
    return Guarded(
        [&]
        {
            if (reserved != nullptr || lastWrite != nullptr || (keyClass != nullptr && classLength == nullptr))
                return ERROR_INVALID_PARAMETER;
            std::shared_ptr<Key> const opened = KeyOf(key);
            if (opened == nullptr)
                return ERROR_INVALID_HANDLE;
            if ((opened->access & KEY_QUERY_VALUE) == 0)
                return ERROR_ACCESS_DENIED;
            Hive::Info info;
            if (!opened->IsLayered())
            {
                if (LSTATUS const status = opened->upper.hive->GetInfo(opened->upper.id, info))
                    return status;
            }
            else
            {
                for (Hive::Kind const kind : {Hive::Kind::keys, Hive::Kind::values})
                {
                    std::vector<std::pair<Hive::Entry, Layer const *>> merged;
                    if (LSTATUS const status = Merged(*opened, kind, merged))
                        return status;
                    bool const isKeys = kind == Hive::Kind::keys;
                    (isKeys ? info.subKeys : info.values) = static_cast<DWORD>(merged.size());
                    DWORD & longest = isKeys ? info.maxSubKeyLength : info.maxValueNameLength;
                    for (auto const & [entry, layer] : merged)
                    {
                        longest = std::max(longest, static_cast<DWORD>(qvlib::host::NameLength(entry.name)));
                        info.maxValueSize = std::max(info.maxValueSize, static_cast<DWORD>(entry.size));
                    }
                }
            }
            auto const tell = [](DWORD * out, DWORD value)
            {
                if (out != nullptr)
                    *out = value;
            };
            if (keyClass != nullptr && *classLength != 0)
                *keyClass = L'\0';
            tell(classLength, 0);
            tell(subKeys, info.subKeys);
            tell(maxSubKeyLength, info.maxSubKeyLength);
            tell(maxClassLength, 0);
            tell(values, info.values);
            tell(maxValueNameLength, info.maxValueNameLength);
            tell(maxValueSize, info.maxValueSize);
            tell(securitySize, 0);
            return ERROR_SUCCESS;
        });
}
