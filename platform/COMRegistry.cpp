#include "qvlib/COMRegistry.h"

#include "qvlib/Registry.h"

namespace qvlib
{

namespace
{

CRegistry ServerKey(wchar_t const * clsid, wchar_t const * server)
{
    CQVString path(L"CLSID\\");
    path.Append(clsid);
    path.AppendChar(L'\\');
    path.Append(server);
    return CRegistry(HKEY_CLASSES_ROOT, path, false, false, KEY_READ);
}

} // namespace

CQVString COMRegistry::GetInprocServer32Value(wchar_t const * clsid)
{
    return ServerKey(clsid, L"InprocServer32").GetString(nullptr, L"");
}

CQVString COMRegistry::GetLocalServer32Value(wchar_t const * clsid)
{
    return ServerKey(clsid, L"LocalServer32").GetString(nullptr, L"");
}

CQVString COMRegistry::GetdllPathFromCLSID(wchar_t const * clsid)
{
    CQVString const path = GetInprocServer32Value(clsid);
    // The loader of managed classes by its bare name, in this very spelling.
    if (path != L"mscoree.dll")
        return path;
    CQVString codeBase;
    if (!ServerKey(clsid, L"InprocServer32").GetValue(L"CodeBase", codeBase))
        return {};
    constexpr wchar_t kMark[] = L"file:///";
    int const mark = codeBase.Find(kMark);
    return mark >= 0 ? CQVString(codeBase.Mid(mark + 8)) : path;
}

} // namespace qvlib
