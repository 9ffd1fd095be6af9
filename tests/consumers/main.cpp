// The smallest module: everything of the interface through one header, one call of each storey.
#include <qvlib/qvlib.h>

#include <cstdio>

int main()
{
    qvlib::CDelimitedString list(L"b,a", L',');
    list.AddToken(qvlib::CQVString(L"c"));
    qvlib::CGenericVal value;
    value.SmartConvert(L"42");
    auto const tree = qvlib::XmlParser::Load(L"<r><x/></r>");
    std::printf("qvlib: %lu tokens, %d, %ls\n", list.GetTokenCount(), value.GetInt(), tree->Name().c_str());
    return 0;
}
