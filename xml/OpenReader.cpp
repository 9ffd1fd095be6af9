#include "xml/internal/open_reader.h"

namespace qvlib::xml
{

HRESULT OpenReader(IStream * stream, _com_ptr_t<IXmlReader> & reader)
{
    void * made = nullptr;
    HRESULT result = CreateXmlReader(host::kInterfaceId<IXmlReader>, &made, nullptr);
    if (SUCCEEDED(result))
    {
        reader.Attach(static_cast<IXmlReader *>(made));
        result = reader->SetProperty(XmlReaderProperty_DtdProcessing, DtdProcessing_Prohibit);
    }
    return SUCCEEDED(result) ? reader->SetInput(stream) : result;
}

} // namespace qvlib::xml
