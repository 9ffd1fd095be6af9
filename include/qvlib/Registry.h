// CRegistry: a cursor over the registry, that is a root key plus at most one open sub-key below it, with typed reads
// and writes of values.
//
// What differs from what a reader expects, each kept on purpose because callers depend on it:
//
// - Down() from the root forms a path that starts with a backslash, which the registry refuses. To get off the root use
//   SetSubKey().
// - EnumKey() enumerates the names of values, like EnumValue(), not sub-keys.
// - KeyExist() asks for full access: a key that cannot be opened for writing counts as absent.
// - GetValue() into a CArray, CList or CStringList tells true when nothing was read; see there.
// - Navigation that fails leaves the cursor at the root (or the object invalid), never at the old sub-key.
//
// Operations report by a bool or a null pointer and do not throw, except std::bad_alloc. Numbers are read without a
// test of the stored type. An object is thread-compatible.
//
//     qvlib::CRegistry registry(L"Software\\Example", true, KEY_ALL_ACCESS);
//     registry.SetValue(L"Title", L"Report");
//     qvlib::CQVString title = registry.GetString(L"Title", L"untitled");
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/export.h"
#include "qvlib/framework/collections.h"
#include "qvlib/host/registry.h"

class CFile;

namespace qvlib
{

class QVLIB_API CRegistry
{
public:
    /// An invalid object.
    CRegistry() = default;
    /// As SetSubKey() with all five.
    CRegistry(HKEY root, wchar_t const * subKey, bool ownsRoot, bool create, unsigned long access);
    /// Stands at `root`. With `ownsRoot` the handle is closed with this object.
    CRegistry(HKEY root, bool ownsRoot);
    /// A key of the current user.
    CRegistry(wchar_t const * subKey, bool create, unsigned long access);
    /// A second cursor at the same place, with handles of its own and full access; invalid when the keys cannot
    /// be opened so.
    CRegistry(CRegistry const & other);
    CRegistry & operator=(CRegistry const & other);
    ~CRegistry();

    /// Takes a handle as the root, after letting go of everything held so far.
    bool Attach(HKEY root, bool ownsRoot);
    /// Gives the root to the caller, open, and leaves the object invalid.
    HKEY Detach();
    /// Whether there is a root, and an open sub-key where one was asked for.
    bool IsValid() const { return m_rootKey != nullptr && (m_subKeyPath.IsEmpty() || m_openKey != nullptr); }
    /// The key in use: the open sub-key, or the root.
    HKEY OpenKey() const { return m_openKey != nullptr ? m_openKey : m_rootKey; }
    operator HKEY() const { return OpenKey(); }

    /// Takes a root and moves to `subKey` below it (null: stays at the root). A failure makes the object invalid, and
    /// closes `root` if it is owned.
    bool SetSubKey(HKEY root, wchar_t const * subKey, bool ownsRoot, bool create, unsigned long access);
    /// Moves to `subKey` below the present root, or to the root itself for null.
    bool SetSubKey(wchar_t const * subKey, bool create, unsigned long access);
    /// Moves to the root.
    void Root();
    /// Moves to a sub-key of the present sub-key: this object, or null after a failure, standing at the root then.
    CRegistry * Down(wchar_t const * name, bool create);
    /// Moves to the key above: this object; null when the present path has one part only, or when the key above cannot
    /// be opened, standing at the root then.
    CRegistry * Up();
    /// Whether the key in use has a sub-key of that name that can be opened with full access.
    bool KeyExist(wchar_t const * name) const;

    /// The name of the value at `index`; false past the end, or for a name of more than 260 characters.
    bool EnumValue(unsigned long index, CQVString & name) const;
    /// The same as EnumValue().
    bool EnumKey(unsigned long index, CQVString & name) const;
    /// False when there is no such value, too.
    bool DeleteValue(wchar_t const * name);
    /// Deletes a sub-key of the key in use. Without `recursive` it must have no sub-keys of its own.
    bool DeleteKey(wchar_t const * name, bool recursive);
    /// Deletes a key with everything below it; the first failure ends the operation and its status is returned.
    static long RegDeleteKeyAndSubKeyes(HKEY key, wchar_t const * name);

    // Reads: true on success. A number is read whatever the stored type, if it has no more than that many bytes.
    bool GetValue(wchar_t const * name, unsigned long & value) const;
    bool GetValue(wchar_t const * name, long & value) const;
    bool GetValue(wchar_t const * name, unsigned int & value) const;
    bool GetValue(wchar_t const * name, int & value) const;
    bool GetValue(wchar_t const * name, bool & value) const;
    bool GetValue(wchar_t const * name, float & value) const;
    bool GetValue(wchar_t const * name, double & value) const;
    /// Only a REG_SZ value; one stored without its terminator loses nothing.
    bool GetValue(wchar_t const * name, CQVString & value) const;
    /// Raw bytes of a value of any type; `size` is the room on the way in, and the value's size on the way out.
    bool GetValue(wchar_t const * name, void * data, unsigned long & size) const;
    /// Only a REG_MULTI_SZ value; its texts are appended.
    bool GetValue(wchar_t const * name, CStringArray & value) const;
    /// These three tell the reverse: false when the value was read, true when it was not. Neither way is `value`
    /// changed.
    bool GetValue(wchar_t const * name, CStringList & value) const;
    bool GetValue(wchar_t const * name, CArray<CQVString> & value) const;
    bool GetValue(wchar_t const * name, CList<CQVString> & value) const;
    /// Writes the value's bytes to the file at its position.
    bool GetValue(wchar_t const * name, CFile & file) const;

    // Writes: true on success. A number that does not fit 32 bits is not written.
    bool SetValue(wchar_t const * name, unsigned long value);
    bool SetValue(wchar_t const * name, long value);
    bool SetValue(wchar_t const * name, unsigned int value);
    bool SetValue(wchar_t const * name, int value);
    bool SetValue(wchar_t const * name, bool value);
    bool SetValue(wchar_t const * name, float value);
    bool SetValue(wchar_t const * name, double value);
    bool SetValue(wchar_t const * name, wchar_t const * value);
    bool SetValue(wchar_t const * name, void const * data, unsigned long size);
    bool SetValue(wchar_t const * name, CStringArray const & value);
    bool SetValue(wchar_t const * name, CStringList const & value);
    bool SetValue(wchar_t const * name, CArray<CQVString> const & value);
    bool SetValue(wchar_t const * name, CList<CQVString> const & value);
    /// Stores the whole file; fails when its length does not fit 32 bits.
    bool SetValue(wchar_t const * name, CFile & file);

    // The value, or `fallback` when GetValue() tells false.
    bool GetBool(wchar_t const * name, bool fallback) const;
    int GetInteger(wchar_t const * name, int fallback) const;
    unsigned int GetUInteger(wchar_t const * name, unsigned int fallback) const;
    long GetLong(wchar_t const * name, long fallback) const;
    unsigned long GetULong(wchar_t const * name, unsigned long fallback) const;
    float GetFloat(wchar_t const * name, float fallback) const;
    double GetDouble(wchar_t const * name, double fallback) const;
    CQVString GetString(wchar_t const * name, wchar_t const * fallback) const;
    /// Raw bytes; true only if the value has exactly that size. With another size the bytes may have been written.
    bool GetStructure(wchar_t const * name, void * buffer, unsigned long size) const;
    // GetValue() into the list, and `fallback` appended when that tells false: for a CStringArray when nothing was
    // read, for the others, whose GetValue() tells the reverse, when something was.
    void GetStringArray(wchar_t const * name, CStringArray & value, wchar_t const * fallback) const;
    void GetStringArray(wchar_t const * name, CArray<CQVString> & value, wchar_t const * fallback) const;
    void GetStringList(wchar_t const * name, CStringList & value, wchar_t const * fallback) const;
    void GetStringList(wchar_t const * name, CList<CQVString> & value, wchar_t const * fallback) const;

private:
    void CloseOpenKey();
    void Destroy();

    HKEY m_rootKey = nullptr;
    HKEY m_openKey = nullptr;
    bool m_ownsRoot = false;
    CQVString m_subKeyPath;
};

} // namespace qvlib
