#include "qvlib/GenericVal.h"
#include "qvlib/Registry.h"

#include "qvlib/framework/memfile.h"

#include "support/registry_folder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <limits>

namespace
{

using qvlib::CGenericVal;
using qvlib::CQVString;
using qvlib::CRegistry;
using qvlib::VarType;

std::string Bytes(CRegistry const & registry, wchar_t const * name)
{
    unsigned long size = 0;
    if (!registry.GetValue(name, nullptr, size))
        return "<none>";
    std::string bytes(size, '\0');
    registry.GetValue(name, bytes.data(), size);
    return bytes;
}

void SetBytes(CRegistry const & registry, wchar_t const * name, DWORD type, std::string const & bytes)
{
    ASSERT_EQ(RegSetValueExW(registry, name, 0, type, reinterpret_cast<BYTE const *>(bytes.data()),
                             static_cast<DWORD>(bytes.size())),
              ERROR_SUCCESS);
}

struct CRegistryTest : testing::Test
{
    RegistryFolder folder;
    CRegistry registry{L"Software\\Test", true, KEY_ALL_ACCESS};
};

TEST_F(CRegistryTest, Navigation)
{
    ASSERT_TRUE(registry.IsValid());
    EXPECT_EQ(registry.Down(L"A", false), nullptr);
    EXPECT_TRUE(registry.IsValid()) << "at the root";
    EXPECT_EQ(registry.OpenKey(), HKEY_CURRENT_USER);
    EXPECT_EQ(registry.Down(L"A", true), nullptr) << "from the root a path starts with a backslash: refused";

    ASSERT_TRUE(registry.SetSubKey(L"Software\\Test", false, KEY_READ));
    EXPECT_EQ(registry.Down(L"A", true), &registry);
    EXPECT_EQ(registry.Down(L"B", true), &registry);
    EXPECT_TRUE(registry.SetValue(L"here", 1));
    EXPECT_EQ(registry.Up(), &registry);
    EXPECT_TRUE(registry.KeyExist(L"B"));
    EXPECT_FALSE(registry.KeyExist(L"C"));
    EXPECT_EQ(registry.Up(), &registry);
    EXPECT_EQ(registry.Up(), &registry);
    EXPECT_EQ(registry.Up(), nullptr) << "one part only";
    EXPECT_TRUE(registry.KeyExist(L"Test")) << "and the cursor stayed";

    ASSERT_TRUE(registry.SetSubKey(L"Software\\Test\\A\\B", false, KEY_ALL_ACCESS));
    EXPECT_EQ(CRegistry::RegDeleteKeyAndSubKeyes(HKEY_CURRENT_USER, L"Software\\Test"), ERROR_SUCCESS);
    EXPECT_EQ(registry.Up(), nullptr) << "vanished";
    EXPECT_EQ(registry.OpenKey(), HKEY_CURRENT_USER);
    registry.Root();
    EXPECT_FALSE(registry.SetSubKey(HKEY_CURRENT_USER, L"Nowhere", false, false, KEY_READ));
    EXPECT_FALSE(registry.IsValid());
    EXPECT_FALSE(registry.SetValue(L"x", 1));
}

TEST_F(CRegistryTest, HandlesAndCopies)
{
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyW(HKEY_CURRENT_USER, L"Software\\Test", &key), ERROR_SUCCESS);
    {
        CRegistry const borrowed(key, false);
        CRegistry copy(borrowed);
        EXPECT_NE(copy.OpenKey(), key) << "a handle of its own";
        EXPECT_TRUE(copy.SetValue(L"x", 5));
        CRegistry const & same = copy;
        copy = same;
        EXPECT_EQ(copy.GetInteger(L"x", 0), 5);
    }
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExW(key, L"x", nullptr, nullptr, nullptr, &size), ERROR_SUCCESS) << "not closed";
    {
        CRegistry owner(key, true);
        EXPECT_EQ(owner.Detach(), key);
        EXPECT_FALSE(owner.IsValid());
        EXPECT_TRUE(owner.Attach(key, true));
    }
    EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE) << "closed with its owner";
    CRegistry const below(registry);
    EXPECT_EQ(below.GetInteger(L"x", 0), 5) << "the same path";
}

TEST_F(CRegistryTest, EnumKeyEnumeratesValues)
{
    CQVString name;
    ASSERT_TRUE(registry.Down(L"SubKey", true));
    ASSERT_TRUE(registry.Up());
    EXPECT_FALSE(registry.EnumKey(0, name)) << "sub-keys are not seen";
    registry.SetValue(L"Value", 1);
    EXPECT_TRUE(registry.EnumKey(0, name));
    EXPECT_EQ(name, L"Value");
    EXPECT_FALSE(registry.EnumValue(1, name));
    registry.SetValue(std::wstring(260, L'n').c_str(), 1);
    EXPECT_TRUE(registry.EnumValue(0, name));
    registry.SetValue(std::wstring(261, L'm').c_str(), 1);
    EXPECT_TRUE(registry.EnumValue(1, name));
    EXPECT_FALSE(registry.EnumValue(2, name)) << "a longer name ends the enumeration";
}

TEST_F(CRegistryTest, KeyExistWantsToWrite)
{
    {
        CRegistry const machine(HKEY_LOCAL_MACHINE, L"Software\\Test", false, true, KEY_ALL_ACCESS);
        ASSERT_TRUE(machine.IsValid());
    }
    {
        RegistryFolder const elsewhere; // the hive is let go of
        EXPECT_FALSE(CRegistry(HKEY_LOCAL_MACHINE, false).KeyExist(L"Software"));
    }
    CRegistry const machine(HKEY_LOCAL_MACHINE, false);
    EXPECT_TRUE(machine.KeyExist(L"Software"));
    ::chmod(folder.MachineHive().c_str(), S_IRUSR);
    {
        RegistryFolder const elsewhere;
        EXPECT_FALSE(machine.KeyExist(L"Software"));
    }
    EXPECT_FALSE(machine.KeyExist(L"Software")) << "there, but not to be written to";
    EXPECT_TRUE(CRegistry(HKEY_LOCAL_MACHINE, L"Software", false, false, KEY_READ).IsValid());
}

TEST_F(CRegistryTest, NumbersAreStoredAsTheirBytes)
{
    EXPECT_TRUE(registry.SetValue(L"bool", true));
    EXPECT_EQ(Bytes(registry, L"bool"), std::string("\1\0\0\0", 4));
    EXPECT_TRUE(registry.SetValue(L"long", -2L));
    EXPECT_EQ(Bytes(registry, L"long"), std::string("\xFE\xFF\xFF\xFF", 4));
    EXPECT_EQ(registry.GetLong(L"long", 0), -2);
    EXPECT_EQ(registry.GetULong(L"long", 0), 0xFFFFFFFEUL);
    EXPECT_EQ(registry.GetInteger(L"long", 0), -2);
    EXPECT_TRUE(registry.GetBool(L"long", false));
    EXPECT_TRUE(registry.SetValue(L"unsigned", ~0UL)) << "all ones of either width";
    EXPECT_EQ(registry.GetUInteger(L"unsigned", 0), 0xFFFFFFFFU);
    if (sizeof(long) > 4)
    {
        EXPECT_FALSE(registry.SetValue(L"unsigned", std::numeric_limits<long>::max()));
        EXPECT_EQ(registry.GetUInteger(L"unsigned", 0), 0xFFFFFFFFU) << "nothing is cut in silence";
    }
    EXPECT_TRUE(registry.SetValue(L"float", 1.5F));
    EXPECT_EQ(Bytes(registry, L"float"), std::string("\0\0\xC0\x3F", 4));
    EXPECT_EQ(registry.GetFloat(L"float", 0), 1.5F);
    EXPECT_EQ(registry.GetLong(L"float", 0), 0x3FC00000) << "the stored type is not tested";
    EXPECT_TRUE(registry.SetValue(L"double", -0.1));
    EXPECT_EQ(registry.GetDouble(L"double", 0), -0.1);
    EXPECT_EQ(registry.GetInteger(L"double", 7), 7) << "too large";
    EXPECT_EQ(registry.GetDouble(L"missing", 7), 7);
    SetBytes(registry, L"short", REG_BINARY, "\5");
    EXPECT_EQ(registry.GetInteger(L"short", 7), 5);
}

TEST_F(CRegistryTest, Text)
{
    std::wstring const wide = L"\u00E9\U0001F600" + std::wstring(1, static_cast<wchar_t>(0xDC00));
    EXPECT_TRUE(registry.SetValue(L"text", wide.c_str()));
    EXPECT_EQ(Bytes(registry, L"text"), std::string("\xE9\0\x3D\xD8\x00\xDE\x00\xDC\0\0", 10));
    EXPECT_EQ(registry.GetString(L"text", L""), wide.c_str());
    CQVString text(L"kept");
    registry.SetValue(L"number", 1);
    EXPECT_FALSE(registry.GetValue(L"number", text)) << "not a text";
    EXPECT_FALSE(registry.GetValue(L"missing", text));
    EXPECT_EQ(text, L"kept");
    for (std::size_t const length : {253U, 254U, 255U, 299U, 100000U})
    {
        std::wstring const longText(length, L'x');
        EXPECT_TRUE(registry.SetValue(L"text", longText.c_str()));
        EXPECT_EQ(registry.GetString(L"text", L""), longText.c_str()) << length;
    }
    EXPECT_TRUE(registry.SetValue(L"text", L""));
    EXPECT_EQ(Bytes(registry, L"text"), std::string(2, '\0'));
    EXPECT_EQ(registry.GetString(L"text", L"fallback"), L"");
    EXPECT_EQ(registry.GetString(L"missing", L"fallback"), L"fallback");
    SetBytes(registry, L"text", REG_SZ, std::string("a\0b\0c", 5));
    EXPECT_EQ(registry.GetString(L"text", L""), L"ab") << "no terminator, and half a character";
    SetBytes(registry, L"text", REG_SZ, std::string("a\0\0\0c\0", 6));
    EXPECT_EQ(registry.GetString(L"text", L""), L"a");
    SetBytes(registry, L"text", REG_SZ, "");
    EXPECT_EQ(registry.GetString(L"text", L"fallback"), L"");
}

TEST_F(CRegistryTest, Structures)
{
    EXPECT_TRUE(registry.SetValue(L"bytes", "abcd", 4));
    char buffer[8] = {};
    EXPECT_TRUE(registry.GetStructure(L"bytes", buffer, 4));
    EXPECT_STREQ(buffer, "abcd");
    EXPECT_FALSE(registry.GetStructure(L"bytes", buffer, 8));
    EXPECT_FALSE(registry.GetStructure(L"bytes", buffer, 3));
    unsigned long size = 2;
    EXPECT_FALSE(registry.GetValue(L"bytes", buffer, size));
    EXPECT_EQ(size, 4U) << "the room that is needed";
    EXPECT_FALSE(registry.SetValue(L"bytes", nullptr, 4));

    CMemFile file;
    file.Write("0123456789", 10);
    EXPECT_TRUE(registry.SetValue(L"file", file)) << "all of it, wherever the position is";
    EXPECT_EQ(Bytes(registry, L"file"), "0123456789");
    CMemFile back;
    back.Write("x", 1);
    EXPECT_TRUE(registry.GetValue(L"file", back));
    EXPECT_EQ(back.GetLength(), 11U);
    EXPECT_FALSE(registry.GetValue(L"missing", back));
    EXPECT_EQ(back.GetLength(), 11U);
    CMemFile empty;
    EXPECT_TRUE(registry.SetValue(L"file", empty));
    EXPECT_EQ(Bytes(registry, L"file"), "");
    EXPECT_TRUE(registry.GetValue(L"file", empty));

    std::string const name = (folder.Path() + "/native.bin");
    CFile native(std::wstring(name.begin(), name.end()).c_str(), CFile::modeCreate | CFile::modeReadWrite);
    native.Write("native", 6);
    EXPECT_TRUE(registry.SetValue(L"file", native));
    EXPECT_TRUE(registry.GetValue(L"file", native));
    EXPECT_EQ(native.GetLength(), 12U);
    CFile closed;
    EXPECT_FALSE(registry.SetValue(L"file", closed)) << "and nothing is thrown";
}

TEST_F(CRegistryTest, ListsReadInPlainAndInReversedSense)
{
    CStringArray array;
    array.Add(L"one");
    array.Add(L"two");
    EXPECT_TRUE(registry.SetValue(L"list", array));
    EXPECT_EQ(Bytes(registry, L"list"), std::string("o\0n\0e\0\0\0t\0w\0o\0\0\0\0\0", 18));
    EXPECT_TRUE(registry.GetValue(L"list", array));
    EXPECT_EQ(array.GetCount(), 4) << "appended";
    EXPECT_FALSE(registry.GetValue(L"missing", array));

    // Kept as it is: for these three true means that nothing was read, and nothing is ever delivered.
    CStringList list;
    CArray<CQVString> strings;
    CList<CQVString> stringList;
    EXPECT_FALSE(registry.GetValue(L"list", list));
    EXPECT_FALSE(registry.GetValue(L"list", strings));
    EXPECT_FALSE(registry.GetValue(L"list", stringList));
    EXPECT_TRUE(registry.GetValue(L"missing", list));
    EXPECT_TRUE(registry.GetValue(L"missing", strings));
    EXPECT_TRUE(registry.GetValue(L"missing", stringList));
    registry.GetStringList(L"missing", list, L"fallback");
    registry.GetStringArray(L"missing", strings, L"fallback");
    registry.GetStringList(L"missing", stringList, L"fallback");
    EXPECT_EQ(list.GetCount() + strings.GetCount() + stringList.GetCount(), 0);
    registry.GetStringList(L"list", list, L"fallback");
    registry.GetStringArray(L"list", strings, L"fallback");
    registry.GetStringList(L"list", stringList, L"fallback");
    ASSERT_EQ(list.GetCount() + strings.GetCount() + stringList.GetCount(), 3);
    EXPECT_EQ(list.GetHead(), L"fallback");
    registry.GetStringArray(L"missing", array, L"fallback");
    EXPECT_EQ(array.GetCount(), 5);
    EXPECT_EQ(array[4], L"fallback");

    EXPECT_TRUE(registry.SetValue(L"copy", list));
    EXPECT_TRUE(registry.SetValue(L"copy", strings));
    EXPECT_TRUE(registry.SetValue(L"copy", stringList));
    array.RemoveAll();
    EXPECT_TRUE(registry.GetValue(L"copy", array));
    EXPECT_EQ(array.GetCount(), 1);
    array.RemoveAll();
    EXPECT_TRUE(registry.SetValue(L"empty", array));
    EXPECT_EQ(Bytes(registry, L"empty"), std::string(2, '\0'));
    SetBytes(registry, L"open", REG_MULTI_SZ, std::string("a\0\0\0b\0c", 7));
    EXPECT_TRUE(registry.GetValue(L"open", array));
    ASSERT_EQ(array.GetCount(), 2) << "without the terminators";
    EXPECT_EQ(array[1], L"b");
    registry.SetValue(L"text", L"no list");
    EXPECT_FALSE(registry.GetValue(L"text", array));
}

TEST_F(CRegistryTest, DeletingKeys)
{
    CRegistry(L"Software\\Test\\A\\B\\C", true, KEY_ALL_ACCESS).SetValue(L"x", 1);
    CRegistry(L"Software\\Test\\A\\D", true, KEY_ALL_ACCESS).SetValue(L"x", 1);
    EXPECT_FALSE(registry.DeleteKey(L"A", false));
    EXPECT_FALSE(registry.DeleteKey(L"", true)) << "would empty the key itself";
    EXPECT_FALSE(registry.DeleteKey(nullptr, true));
    EXPECT_EQ(CRegistry::RegDeleteKeyAndSubKeyes(registry, L"Z"), ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(registry.DeleteKey(L"A", true));
    EXPECT_FALSE(registry.KeyExist(L"A"));
    std::wstring deep = L"Software\\Test\\Deep";
    for (int i = 0; i < 500; ++i)
        deep += L"\\d";
    ASSERT_TRUE(CRegistry(deep.c_str(), true, KEY_ALL_ACCESS).IsValid());
    EXPECT_TRUE(registry.DeleteKey(L"Deep", true));
    registry.SetValue(L"x", 1);
    EXPECT_TRUE(registry.DeleteValue(L"X"));
    EXPECT_FALSE(registry.DeleteValue(L"X"));
}

TEST_F(CRegistryTest, GenericValuesAreKeptAsText)
{
    CGenericVal value(1.5);
    EXPECT_TRUE(value.SerializeRegistry(registry, L"v", VarType::Double, true));
    EXPECT_EQ(registry.GetString(L"v", L""), L"1.5");
    EXPECT_FALSE(value.SerializeRegistry(registry, L"w", VarType::Long, true)) << "another type";
    EXPECT_EQ(registry.GetString(L"w", L"nothing"), L"nothing");
    EXPECT_TRUE(value.SerializeRegistry(registry, L"v", VarType::Empty, true));
    CGenericVal loaded;
    EXPECT_TRUE(loaded.SerializeRegistry(registry, L"v", VarType::Double, false));
    EXPECT_EQ(loaded.GetType(), VarType(VarType::Double));
    EXPECT_EQ(loaded, value);
    EXPECT_FALSE(loaded.SerializeRegistry(registry, L"missing", VarType::Double, false));
    EXPECT_EQ(loaded, value);
    EXPECT_TRUE(loaded.SerializeRegistry(registry, L"v", VarType::String, false));
    EXPECT_EQ(loaded.ToString(), L"1.5");
}

} // namespace
