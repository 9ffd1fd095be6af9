#include "support/allocation_sweep.h"
#include "support/registry_folder.h"
#include "support/threads.h"
#include "support/tsv.h"

#include "qvlib/framework/comutil.h"
#include "qvlib/host/com.h"
#include "qvlib/host/properties.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace
{

using qvlib_test::OnThreads;
using qvlib_test::Table;
using StreamPtr = _com_ptr_t<IStream>;

StreamPtr MakeStream(std::string const & bytes = {})
{
    return StreamPtr(SHCreateMemStream(reinterpret_cast<BYTE const *>(bytes.data()), static_cast<UINT>(bytes.size())),
                     false);
}

std::string ReadAll(StreamPtr const & stream)
{
    std::string bytes;
    char piece[7];
    ULONG came = 0;
    while (SUCCEEDED(stream->Read(piece, sizeof piece, &came)) && came != 0)
        bytes.append(piece, came);
    return bytes;
}

ULONGLONG SeekTo(StreamPtr const & stream, LONGLONG move, DWORD origin, HRESULT expected = S_OK)
{
    LARGE_INTEGER by{};
    by.QuadPart = move;
    ULARGE_INTEGER position{};
    position.QuadPart = 0xBAD;
    EXPECT_EQ(stream->Seek(by, origin, &position), expected);
    return position.QuadPart;
}

TEST(Guid, TextIsReadAsThePlatformDoes)
{
    Table const rows("host/guid.tsv");
    for (std::size_t row = 0; row < rows.Rows(); ++row)
    {
        SCOPED_TRACE(rows.Raw(row, "text"));
        bool const null = rows.Raw(row, "text") == "<null>";
        std::wstring const text = rows.Wide(row, "text");
        CLSID id{1, 2, 3, {}};
        HRESULT const result = CLSIDFromString(null ? nullptr : text.c_str(), &id);
        EXPECT_EQ(static_cast<std::uint32_t>(result), rows.Integer(row, "hr"));
        if (FAILED(result))
        {
            EXPECT_TRUE(id == GUID_NULL);
            continue;
        }
        LPOLESTR back = nullptr;
        ASSERT_EQ(StringFromCLSID(id, &back), S_OK);
        EXPECT_EQ(back, rows.Wide(row, "roundtrip"));
        CoTaskMemFree(back);
    }
}

TEST(Guid, BytesInMemoryAreTheStoredForm)
{
    CLSID id;
    ASSERT_EQ(CLSIDFromString(L"{00112233-4455-6677-8899-aabbCCDDEEFF}", &id), S_OK);
    unsigned char const expected[16] = {0x33, 0x22, 0x11, 0x00, 0x55, 0x44, 0x77, 0x66,
                                        0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
    EXPECT_EQ(std::memcmp(&id, expected, sizeof id), 0);
    wchar_t text[39];
    EXPECT_EQ(StringFromGUID2(id, text, 38), 0);
    EXPECT_EQ(StringFromGUID2(id, text, 39), 39);
    EXPECT_STREQ(text, L"{00112233-4455-6677-8899-AABBCCDDEEFF}");
}

class ProgIdTest : public ::testing::Test
{
    RegistryFolder m_registry;
};

TEST_F(ProgIdTest, NamesThatNothingRegistersFail)
{
    CLSID id{};
    for (wchar_t const * name : {L"abc", L"", L"a\\b", L"\\", L"a.name.of.more.than.thirty-nine.characters"})
        EXPECT_EQ(CLSIDFromProgID(name, &id), CO_E_CLASSSTRING);
    EXPECT_EQ(CLSIDFromProgID(nullptr, &id), E_INVALIDARG);
    LPOLESTR name = nullptr;
    EXPECT_EQ(ProgIDFromCLSID(GUID_NULL, &name), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(name, nullptr);
}

TEST_F(ProgIdTest, RegisteredNamesAreFoundBothWays)
{
    SetClassText(L"Test.Thing.1\\CLSID", L"{7ceeacb2-d59e-11d3-8394-00c04f7bdf10}");
    SetClassText(L"CLSID\\{7ceeacb2-d59e-11d3-8394-00c04f7bdf10}\\ProgID", L"Test.Thing.1");
    SetClassText(L"Test.Broken\\CLSID", L"no identifier");

    CLSID id{};
    ASSERT_EQ(CLSIDFromProgID(L"test.thing.1", &id), S_OK);
    EXPECT_TRUE(id == QRGenObjsLib::CLSID_QRProperties);
    EXPECT_EQ(CLSIDFromProgID(L"Test.Broken", &id), CO_E_CLASSSTRING);
    LPOLESTR name = nullptr;
    ASSERT_EQ(ProgIDFromCLSID(QRGenObjsLib::CLSID_QRProperties, &name), S_OK);
    EXPECT_STREQ(name, L"Test.Thing.1");
    CoTaskMemFree(name);
}

TEST(MemoryStream, ReadsWhatWasWrittenAndTellsTheEnd)
{
    StreamPtr const stream = MakeStream("abc");
    EXPECT_EQ(ReadAll(stream), "abc");
    ULONG count = 7;
    char byte = 0;
    EXPECT_EQ(stream->Read(&byte, 1, &count), S_FALSE);
    EXPECT_EQ(count, 0U);

    EXPECT_EQ(stream->Write("defg", 4, &count), S_OK);
    EXPECT_EQ(count, 4U);
    EXPECT_EQ(SeekTo(stream, -5, STREAM_SEEK_END), 2U);
    EXPECT_EQ(ReadAll(stream), "cdefg");
}

TEST(MemoryStream, SeeksAnywhereButInFrontOfTheStart)
{
    StreamPtr const stream = MakeStream("abcdef");
    EXPECT_EQ(SeekTo(stream, 4, STREAM_SEEK_SET), 4U);
    EXPECT_EQ(SeekTo(stream, -1, STREAM_SEEK_CUR), 3U);
    SeekTo(stream, -4, STREAM_SEEK_CUR, STG_E_INVALIDFUNCTION);
    SeekTo(stream, -7, STREAM_SEEK_END, STG_E_INVALIDFUNCTION);
    SeekTo(stream, 0, 3, STG_E_INVALIDFUNCTION);
    EXPECT_EQ(SeekTo(stream, 0, STREAM_SEEK_CUR), 3U);

    EXPECT_EQ(SeekTo(stream, 8, STREAM_SEEK_SET), 8U);
    EXPECT_EQ(stream->Write("x", 1, nullptr), S_OK);
    SeekTo(stream, 0, STREAM_SEEK_SET);
    EXPECT_EQ(ReadAll(stream), std::string("abcdef\0\0x", 9));
}

TEST(MemoryStream, RefusesToGrowBeyondItsLimitAndStaysWhole)
{
    StreamPtr const stream = MakeStream("abc");
    ULARGE_INTEGER size{};
    size.QuadPart = ~0ULL;
    EXPECT_EQ(stream->SetSize(size), STG_E_MEDIUMFULL);
    SeekTo(stream, 0x7FFFFFFFFFFFFFFF, STREAM_SEEK_SET);
    ULONG count = 7;
    EXPECT_EQ(stream->Write("x", 1, &count), STG_E_MEDIUMFULL);
    EXPECT_EQ(count, 0U);
    SeekTo(stream, 0, STREAM_SEEK_SET);
    EXPECT_EQ(ReadAll(stream), "abc");
    size.QuadPart = 2;
    EXPECT_EQ(stream->SetSize(size), S_OK);
    STATSTG status{};
    EXPECT_EQ(stream->Stat(&status, STATFLAG_DEFAULT), S_OK);
    EXPECT_EQ(status.cbSize.QuadPart, 2U);
    EXPECT_EQ(status.type, STGTY_STREAM);
}

TEST(MemoryStream, ClonesShareBytesAndCopyToTakesOverlaps)
{
    StreamPtr const stream = MakeStream("0123456789");
    SeekTo(stream, 4, STREAM_SEEK_SET);
    StreamPtr clone;
    ASSERT_EQ(stream->Clone(&clone), S_OK);
    ASSERT_EQ(stream->Write("xy", 2, nullptr), S_OK);
    EXPECT_EQ(ReadAll(clone), "xy6789");

    SeekTo(stream, 0, STREAM_SEEK_SET);
    ULARGE_INTEGER count{};
    ULARGE_INTEGER read{};
    ULARGE_INTEGER written{};
    count.QuadPart = 3;
    EXPECT_EQ(stream->CopyTo(clone, count, &read, &written), S_OK); // onto its own end
    EXPECT_EQ(read.QuadPart, 3U);
    EXPECT_EQ(written.QuadPart, 3U);
    SeekTo(stream, 0, STREAM_SEEK_SET);
    EXPECT_EQ(ReadAll(stream), "0123xy6789012");
}

TEST(MemoryStream, SurvivesAllocationsThatFail)
{
    StreamPtr stream;
    qvlib_test::SweepAllocations(
        [&]
        {
            stream = MakeStream("abc");
            if (stream)
                stream->Write("0123456789", 10, nullptr);
        });
    SeekTo(stream, 0, STREAM_SEEK_SET);
    EXPECT_EQ(ReadAll(stream), "0123456789");
}

TEST(MemoryStream, ReferencesAndBytesAreSharedByThreads)
{
    StreamPtr const stream = MakeStream();
    OnThreads(4,
              [stream](int)
              {
                  for (int n = 0; n < 500; ++n)
                  {
                      StreamPtr const another(stream);
                      another->Write("ab", 2, nullptr);
                  }
              });
    SeekTo(stream, 0, STREAM_SEEK_SET);
    std::string const bytes = ReadAll(stream);
    ASSERT_EQ(bytes.size(), 4000U);
    for (std::size_t i = 0; i < bytes.size(); i += 2)
        ASSERT_EQ(bytes.substr(i, 2), "ab");
}

/// A factory that hands out one stream.
class Factory final : public IClassFactory
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void ** object) override
    {
        *object = iid == IID_IUnknown || iid == IID_IClassFactory ? this : nullptr;
        if (*object == nullptr)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown *, REFIID iid, void ** object) override
    {
        return MakeStream(bytes)->QueryInterface(iid, object);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

    std::string bytes;
    ULONG references = 1;
};

TEST(ClassTable, CreatesRegisteredClassesUntilTheyAreRevoked)
{
    constexpr CLSID kClass{0x11111111, 2, 3, {4}};
    Factory first;
    first.bytes = "first";
    Factory second;
    second.bytes = "second";
    DWORD firstCookie = 0;
    DWORD secondCookie = 0;
    ASSERT_EQ(CoRegisterClassObject(kClass, &first, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &firstCookie), S_OK);
    ASSERT_EQ(CoRegisterClassObject(kClass, &second, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &secondCookie), S_OK);

    StreamPtr stream;
    ASSERT_EQ(stream.CreateInstance(kClass), S_OK);
    EXPECT_EQ(ReadAll(stream), "second");
    EXPECT_EQ(CoRevokeClassObject(secondCookie), S_OK);
    EXPECT_EQ(CoRevokeClassObject(secondCookie), E_INVALIDARG);
    ASSERT_EQ(stream.CreateInstance(kClass), S_OK);
    EXPECT_EQ(ReadAll(stream), "first");
    _com_ptr_t<IDispatch> other;
    EXPECT_EQ(other.CreateInstance(kClass), E_NOINTERFACE);
    EXPECT_EQ(CoRevokeClassObject(firstCookie), S_OK);
    EXPECT_EQ(stream.CreateInstance(kClass), REGDB_E_CLASSNOTREG);
    EXPECT_FALSE(stream);
    EXPECT_EQ(first.references, 1U);
    EXPECT_EQ(second.references, 1U);
}

TEST(PropertiesList, KeepsPairsInTheirOrder)
{
    _com_ptr_t<QRGenObjsLib::IQRProperties> list;
    ASSERT_EQ(list.CreateInstance(QRGenObjsLib::CLSID_QRProperties), S_OK);
    EXPECT_EQ(list->put_Item(_variant_t(L"key"), _variant_t(L"text")), S_OK);
    EXPECT_EQ(list->put_Item(_variant_t(7U), _variant_t(2.5)), S_OK);
    EXPECT_EQ(list->put_Item(_variant_t(7U), _variant_t(true)), S_OK);
    long count = 0;
    ASSERT_EQ(list->get_Count(&count), S_OK);
    EXPECT_EQ(count, 3);

    _variant_t key(L"old");
    _variant_t value;
    EXPECT_EQ(list->get_Item(0, &key, &value), DISP_E_BADINDEX);
    EXPECT_EQ(list->get_Item(4, &key, &value), DISP_E_BADINDEX);
    ASSERT_EQ(list->get_Item(1, &key, &value), S_OK);
    EXPECT_TRUE(key == _variant_t(L"key") && value == _variant_t(L"text"));
    ASSERT_EQ(list->get_Item(3, &key, &value), S_OK);
    EXPECT_TRUE(key == _variant_t(7U) && value == _variant_t(true));

    _com_ptr_t<IDispatch> const dispatch(list); // as it travels in a variant
    _com_ptr_t<QRGenObjsLib::IQRProperties> const back(dispatch);
    EXPECT_EQ(back.GetInterfacePtr(), list.GetInterfacePtr());
    EXPECT_FALSE(_com_ptr_t<IStream>(list));
}

TEST(PropertiesList, AFailedPutAddsNothing)
{
    _com_ptr_t<QRGenObjsLib::IQRProperties> list;
    ASSERT_EQ(list.CreateInstance(QRGenObjsLib::CLSID_QRProperties), S_OK);
    _variant_t const key(L"key");
    _variant_t const value(L"value");
    long count = -1;
    qvlib_test::SweepAllocations(
        [&]
        {
            list->get_Count(&count);
            ASSERT_EQ(count, 0);
            list->put_Item(key, value);
        });
    list->get_Count(&count);
    EXPECT_EQ(count, 1);
}

} // namespace
