#include "host/linux/internal/xml_tokens.h"

#include <unicode/ucnv.h>

namespace qvlib::host
{

namespace
{

// The code point of a byte sequence, or -1.
int CodePoint(UConverter * converter, char const * bytes, int count)
{
    UErrorCode status = U_ZERO_ERROR;
    UChar units[8];
    UChar * out = units;
    char const * in = bytes;
    ucnv_reset(converter);
    ucnv_toUnicode(converter, &out, units + 8, &in, bytes + count, nullptr, true, &status);
    int const length = static_cast<int>(out - units);
    if (U_FAILURE(status) || length == 0)
        return -1;
    if (length == 1)
        return U16_IS_SURROGATE(units[0]) ? -1 : units[0];
    return length == 2 && U16_IS_LEAD(units[0]) && U16_IS_TRAIL(units[1]) ? U16_GET_SUPPLEMENTARY(units[0], units[1])
                                                                          : -1;
}

int XMLCALL ConvertPair(void * data, char const * bytes)
{
    int const point = CodePoint(static_cast<UConverter *>(data), bytes, 2);
    return point > 0xFFFF ? -1 : point; // the parser takes no more from a converter
}

void XMLCALL Close(void * data) { ucnv_close(static_cast<UConverter *>(data)); }

} // namespace

int XMLCALL XmlUnknownEncoding(void * data, XML_Char const * name, XML_Encoding * info)
{
    // Names of 8-bit encodings in 16-bit text, and the other way round, are for the parser to refuse.
    if (*static_cast<XmlUnits const *>(data) != XmlUnits::bytes)
        return XML_STATUS_ERROR;
    UErrorCode status = U_ZERO_ERROR;
    UConverter * const converter = ucnv_open(name, &status);
    if (U_FAILURE(status))
        return XML_STATUS_ERROR;
    ucnv_setToUCallBack(converter, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);

    int const widest = ucnv_getMaxCharSize(converter);
    UConverterType const type = ucnv_getType(converter);
    bool const pairs = type == UCNV_MBCS && widest == 2;
    UBool leads[256] = {};
    if (pairs)
        ucnv_getStarters(converter, leads, &status);
    if (U_FAILURE(status) || (!pairs && widest != 1) || type == UCNV_UTF7)
    {
        ucnv_close(converter);
        return XML_STATUS_ERROR;
    }
    for (int i = 0; i < 256; ++i)
    {
        char const byte = static_cast<char>(i);
        info->map[i] = leads[i] ? -2 : CodePoint(converter, &byte, 1);
    }
    if (pairs)
    {
        info->data = converter;
        info->convert = ConvertPair;
        info->release = Close;
    }
    else
    {
        ucnv_close(converter);
        info->data = nullptr;
        info->convert = nullptr;
        info->release = nullptr;
    }
    return XML_STATUS_OK;
}

} // namespace qvlib::host
