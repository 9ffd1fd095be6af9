// Any text is a date or is refused; what is read in one locale is written in en-US and read back to the same second.
#include "qvlib/host/dates.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    static constexpr LCID kLocales[] = {0x409, 0x809, 0x407, 0x411, 0x412, 0x40B, 0x40E, 0x402};
    if (size < 2)
    {
        return 0;
    }
    LCID const locale = kLocales[data[0] % 8];
    ULONG const flags = data[1] % 4;
    // An exact block, so that a read behind the terminator is seen.
    std::size_t const length = size - 2;
    std::unique_ptr<wchar_t[]> const text(new wchar_t[length + 1]);
    for (std::size_t i = 0; i < length; ++i)
    {
        text[i] = data[i + 2];
    }
    text[length] = 0;
    DATE date = -1;
    if (VarDateFromStr(text.get(), locale, flags, &date) < 0)
    {
        if (date != -1)
        {
            std::abort(); // a refusal must leave the date alone
        }
        return 0;
    }
    SYSTEMTIME fields;
    if (VariantTimeToSystemTime(date, &fields) == 0)
    {
        std::abort(); // what is read is a date
    }
    BSTR written = nullptr;
    DATE again;
    if (VarBstrFromDate(date, 0x409, 0, &written) < 0 || VarDateFromStr(written, 0x409, 0, &again) < 0 || again != date)
    {
        std::abort();
    }
    SysFreeString(written);
    return 0;
}
