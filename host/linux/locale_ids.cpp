#include "host/linux/internal/locale_ids.h"

#include "qvlib/host/locale.h"

#include <algorithm>
#include <cstdint>

namespace qvlib::host::internal
{

namespace
{

/// In the order of their ids.
constexpr LocaleId kLocales[] = {
    {0x0401, "ar-SA", true},         {0x0402, "bg-BG", true},           {0x0403, "ca-ES", false},
    {0x0404, "zh-TW", true},         {0x0405, "cs-CZ", true},           {0x0406, "da-DK", true},
    {0x0407, "de-DE", true},         {0x0408, "el-GR", true},           {0x0409, "en-US", true},
    {0x040A, "es-ES_tradnl", false}, {0x040B, "fi-FI", true},           {0x040C, "fr-FR", true},
    {0x040D, "he-IL", true},         {0x040E, "hu-HU", true},           {0x040F, "is-IS", true},
    {0x0410, "it-IT", true},         {0x0411, "ja-JP", true},           {0x0412, "ko-KR", true},
    {0x0413, "nl-NL", true},         {0x0414, "nb-NO", true},           {0x0415, "pl-PL", true},
    {0x0416, "pt-BR", true},         {0x0417, "rm-CH", false},          {0x0418, "ro-RO", true},
    {0x0419, "ru-RU", true},         {0x041A, "hr-HR", true},           {0x041B, "sk-SK", true},
    {0x041C, "sq-AL", true},         {0x041D, "sv-SE", true},           {0x041E, "th-TH", true},
    {0x041F, "tr-TR", true},         {0x0420, "ur-PK", true},           {0x0421, "id-ID", true},
    {0x0422, "uk-UA", true},         {0x0423, "be-BY", true},           {0x0424, "sl-SI", true},
    {0x0425, "et-EE", true},         {0x0426, "lv-LV", true},           {0x0427, "lt-LT", true},
    {0x0428, "tg-Cyrl-TJ", true},    {0x0429, "fa-IR", true},           {0x042A, "vi-VN", true},
    {0x042B, "hy-AM", true},         {0x042C, "az-Latn-AZ", true},      {0x042D, "eu-ES", false},
    {0x042E, "hsb-DE", false},       {0x042F, "mk-MK", true},           {0x0430, "st-ZA", false},
    {0x0431, "ts-ZA", false},        {0x0432, "tn-ZA", false},          {0x0433, "ve-ZA", false},
    {0x0434, "xh-ZA", false},        {0x0435, "zu-ZA", false},          {0x0436, "af-ZA", false},
    {0x0437, "ka-GE", true},         {0x0438, "fo-FO", true},           {0x0439, "hi-IN", true},
    {0x043A, "mt-MT", true},         {0x043B, "se-NO", false},          {0x043D, "yi-001", false},
    {0x043E, "ms-MY", true},         {0x043F, "kk-KZ", true},           {0x0440, "ky-KG", true},
    {0x0441, "sw-KE", true},         {0x0442, "tk-TM", true},           {0x0443, "uz-Latn-UZ", true},
    {0x0444, "tt-RU", false},        {0x0445, "bn-IN", false},          {0x0446, "pa-IN", false},
    {0x0447, "gu-IN", false},        {0x0448, "or-IN", false},          {0x0449, "ta-IN", false},
    {0x044A, "te-IN", false},        {0x044B, "kn-IN", false},          {0x044C, "ml-IN", false},
    {0x044D, "as-IN", false},        {0x044E, "mr-IN", false},          {0x044F, "sa-IN", false},
    {0x0450, "mn-MN", true},         {0x0451, "bo-CN", false},          {0x0452, "cy-GB", false},
    {0x0453, "km-KH", true},         {0x0454, "lo-LA", true},           {0x0455, "my-MM", true},
    {0x0456, "gl-ES", false},        {0x0457, "kok-IN", false},         {0x0458, "mni-IN", false},
    {0x0459, "sd-Deva-IN", false},   {0x045A, "syr-SY", false},         {0x045B, "si-LK", true},
    {0x045C, "chr-Cher-US", false},  {0x045D, "iu-Cans-CA", false},     {0x045E, "am-ET", true},
    {0x0460, "ks-Arab-IN", false},   {0x0461, "ne-NP", true},           {0x0462, "fy-NL", false},
    {0x0463, "ps-AF", false},        {0x0464, "fil-PH", true},          {0x0465, "dv-MV", true},
    {0x0466, "bin-NG", false},       {0x0467, "ff-Latn-NG", false},     {0x0468, "ha-Latn-NG", true},
    {0x046A, "yo-NG", false},        {0x046B, "quz-BO", false},         {0x046C, "nso-ZA", false},
    {0x046D, "ba-RU", false},        {0x046E, "lb-LU", false},          {0x046F, "kl-GL", true},
    {0x0470, "ig-NG", false},        {0x0471, "kr-Latn-NG", false},     {0x0472, "om-ET", false},
    {0x0473, "ti-ET", false},        {0x0474, "gn-PY", true},           {0x0475, "haw-US", false},
    {0x0476, "la-001", false},       {0x0477, "so-SO", true},           {0x0478, "ii-CN", false},
    {0x047A, "arn-CL", false},       {0x047C, "moh-CA", false},         {0x047E, "br-FR", false},
    {0x0480, "ug-CN", false},        {0x0481, "mi-NZ", false},          {0x0482, "oc-FR", false},
    {0x0483, "co-FR", false},        {0x0484, "gsw-FR", false},         {0x0485, "sah-RU", false},
    {0x0486, "quc-Latn-GT", false},  {0x0487, "rw-RW", true},           {0x0488, "wo-SN", false},
    {0x048C, "prs-AF", true},        {0x0491, "gd-GB", false},          {0x0492, "ku-Arab-IQ", false},
    {0x0801, "ar-IQ", true},         {0x0803, "ca-ES-valencia", false}, {0x0804, "zh-CN", true},
    {0x0807, "de-CH", true},         {0x0809, "en-GB", true},           {0x080A, "es-MX", true},
    {0x080C, "fr-BE", false},        {0x0810, "it-CH", false},          {0x0813, "nl-BE", true},
    {0x0814, "nn-NO", false},        {0x0816, "pt-PT", true},           {0x0818, "ro-MD", true},
    {0x0819, "ru-MD", false},        {0x081D, "sv-FI", false},          {0x0820, "ur-IN", false},
    {0x082C, "az-Cyrl-AZ", false},   {0x082E, "dsb-DE", false},         {0x0832, "tn-BW", false},
    {0x083B, "se-SE", false},        {0x083C, "ga-IE", false},          {0x083E, "ms-BN", true},
    {0x0843, "uz-Cyrl-UZ", false},   {0x0845, "bn-BD", true},           {0x0846, "pa-Arab-PK", false},
    {0x0849, "ta-LK", false},        {0x0850, "mn-Mong-CN", false},     {0x0859, "sd-Arab-PK", false},
    {0x085D, "iu-Latn-CA", false},   {0x085F, "tzm-Latn-DZ", false},    {0x0860, "ks-Deva-IN", false},
    {0x0861, "ne-IN", false},        {0x0867, "ff-Latn-SN", false},     {0x086B, "quz-EC", false},
    {0x0873, "ti-ER", true},         {0x0C01, "ar-EG", true},           {0x0C04, "zh-HK", true},
    {0x0C07, "de-AT", true},         {0x0C09, "en-AU", true},           {0x0C0A, "es-ES", true},
    {0x0C0C, "fr-CA", false},        {0x0C3B, "se-FI", false},          {0x0C50, "mn-Mong-MN", false},
    {0x0C51, "dz-BT", true},         {0x0C6B, "quz-PE", false},         {0x1001, "ar-LY", true},
    {0x1004, "zh-SG", false},        {0x1007, "de-LU", false},          {0x1009, "en-CA", true},
    {0x100A, "es-GT", true},         {0x100C, "fr-CH", false},          {0x101A, "hr-BA", false},
    {0x103B, "smj-NO", false},       {0x105F, "tzm-Tfng-MA", false},    {0x1401, "ar-DZ", true},
    {0x1404, "zh-MO", true},         {0x1407, "de-LI", true},           {0x1409, "en-NZ", true},
    {0x140A, "es-CR", true},         {0x140C, "fr-LU", true},           {0x141A, "bs-Latn-BA", true},
    {0x143B, "smj-SE", false},       {0x1801, "ar-MA", true},           {0x1809, "en-IE", true},
    {0x180A, "es-PA", true},         {0x180C, "fr-MC", true},           {0x181A, "sr-Latn-BA", false},
    {0x183B, "sma-NO", false},       {0x1C01, "ar-TN", true},           {0x1C09, "en-ZA", true},
    {0x1C0A, "es-DO", true},         {0x1C0C, "fr-029", false},         {0x1C1A, "sr-Cyrl-BA", false},
    {0x1C3B, "sma-SE", false},       {0x2001, "ar-OM", true},           {0x2009, "en-JM", true},
    {0x200A, "es-VE", true},         {0x200C, "fr-RE", true},           {0x201A, "bs-Cyrl-BA", false},
    {0x203B, "sms-FI", false},       {0x2401, "ar-YE", true},           {0x2409, "en-029", true},
    {0x240A, "es-CO", true},         {0x240C, "fr-CD", false},          {0x241A, "sr-Latn-RS", false},
    {0x243B, "smn-FI", false},       {0x2801, "ar-SY", true},           {0x2809, "en-BZ", true},
    {0x280A, "es-PE", true},         {0x280C, "fr-SN", true},           {0x281A, "sr-Cyrl-RS", true},
    {0x2C01, "ar-JO", true},         {0x2C09, "en-TT", true},           {0x2C0A, "es-AR", true},
    {0x2C0C, "fr-CM", true},         {0x2C1A, "sr-Latn-ME", true},      {0x3001, "ar-LB", true},
    {0x3009, "en-ZW", false},        {0x300A, "es-EC", true},           {0x300C, "fr-CI", true},
    {0x301A, "sr-Cyrl-ME", false},   {0x3401, "ar-KW", true},           {0x3409, "en-PH", false},
    {0x340A, "es-CL", true},         {0x340C, "fr-ML", false},          {0x3801, "ar-AE", true},
    {0x3809, "en-ID", false},        {0x380A, "es-UY", true},           {0x380C, "fr-MA", false},
    {0x3C01, "ar-BH", true},         {0x3C09, "en-HK", false},          {0x3C0A, "es-PY", false},
    {0x3C0C, "fr-HT", false},        {0x4001, "ar-QA", true},           {0x4009, "en-IN", false},
    {0x400A, "es-BO", true},         {0x4409, "en-MY", false},          {0x440A, "es-SV", true},
    {0x4809, "en-SG", true},         {0x480A, "es-HN", true},           {0x4C09, "en-AE", false},
    {0x4C0A, "es-NI", true},         {0x500A, "es-PR", true},           {0x540A, "es-US", false},
    {0x580A, "es-419", true},        {0x5C0A, "es-CU", true},
};

constexpr LCID kSortIds[] = {0x10407, 0x1040E, 0x10437, 0x20804, 0x21004, 0x21404, 0x30404,
                             0x40404, 0x40411, 0x40C04, 0x41404, 0x50804, 0x51004};

struct Neutral
{
    LCID id;
    LCID stands;
    char const * name; ///< null: the language of the locale
};

/// The neutral ids that do not stand for the first region of their language (0x400 + id), in the order of their ids.
constexpr Neutral kNeutrals[] = {
    {0x0004, 0x0804, "zh-Hans"},  {0x000A, 0x0C0A, nullptr},    {0x003C, 0x083C, nullptr},
    {0x0059, 0x0859, nullptr},    {0x005D, 0x085D, nullptr},    {0x005F, 0x085F, nullptr},
    {0x0067, 0x0867, nullptr},    {0x641A, 0x201A, "bs-Cyrl"},  {0x681A, 0x141A, "bs-Latn"},
    {0x6C1A, 0x281A, "sr-Cyrl"},  {0x701A, 0x241A, "sr-Latn"},  {0x703B, 0x243B, "smn"},
    {0x742C, 0x082C, "az-Cyrl"},  {0x743B, 0x203B, "sms"},      {0x7804, 0x0804, "zh"},
    {0x7814, 0x0814, "nn"},       {0x781A, 0x141A, "bs"},       {0x782C, 0x042C, "az-Latn"},
    {0x783B, 0x1C3B, "sma"},      {0x7843, 0x0843, "uz-Cyrl"},  {0x7850, 0x0450, "mn-Cyrl"},
    {0x785D, 0x045D, "iu-Cans"},  {0x785F, 0x105F, "tzm-Tfng"}, {0x7C04, 0x0C04, "zh-Hant"},
    {0x7C14, 0x0414, "nb"},       {0x7C1A, 0x241A, "sr"},       {0x7C28, 0x0428, "tg-Cyrl"},
    {0x7C2E, 0x082E, "dsb"},      {0x7C3B, 0x143B, "smj"},      {0x7C43, 0x0443, "uz-Latn"},
    {0x7C46, 0x0846, "pa-Arab"},  {0x7C50, 0x0850, "mn-Mong"},  {0x7C59, 0x0859, "sd-Arab"},
    {0x7C5C, 0x045C, "chr-Cher"}, {0x7C5D, 0x085D, "iu-Latn"},  {0x7C5F, 0x085F, "tzm-Latn"},
    {0x7C67, 0x0867, "ff-Latn"},  {0x7C68, 0x0468, "ha-Latn"},  {0x7C92, 0x0492, "ku-Arab"},
};

constexpr char Lower(char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter; }

bool SameName(std::string_view a, std::string_view b) noexcept
{
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return Lower(x) == Lower(y); });
}

std::string_view LanguageOf(std::string_view name) { return name.substr(0, name.find('-')); }

Neutral const * FindNeutral(LCID id) noexcept
{
    auto const found = std::lower_bound(std::begin(kNeutrals), std::end(kNeutrals), id,
                                        [](Neutral const & entry, LCID key) { return entry.id < key; });
    return found != std::end(kNeutrals) && found->id == id ? found : nullptr;
}

LCID ReadUserId()
{
    std::string const & name = UserLocaleName();
    std::size_t const index = FindLocale(std::string_view(name));
    if (index != kNoLocale)
    {
        return kLocales[index].id;
    }
    LCID const neutral = NeutralId(name);
    return neutral != 0 ? ResolveLocale(neutral) : kCustomLocale;
}

} // namespace

std::size_t LocaleCount() { return std::size(kLocales); }

LocaleId const & LocaleAt(std::size_t index) { return kLocales[index]; }

std::size_t FindLocale(LCID id) noexcept
{
    auto const found = std::lower_bound(std::begin(kLocales), std::end(kLocales), id,
                                        [](LocaleId const & entry, LCID key) { return entry.id < key; });
    return found != std::end(kLocales) && found->id == id ? static_cast<std::size_t>(found - kLocales) : kNoLocale;
}

std::size_t FindLocale(std::string_view name) noexcept
{
    auto const found = std::find_if(std::begin(kLocales), std::end(kLocales),
                                    [&](LocaleId const & entry) { return SameName(entry.name, name); });
    return found != std::end(kLocales) ? static_cast<std::size_t>(found - kLocales) : kNoLocale;
}

std::size_t SortIdCount() { return std::size(kSortIds); }

LCID SortIdAt(std::size_t index) { return kSortIds[index]; }

LCID ResolveLocale(LCID id) noexcept
{
    if (FindLocale(id) != kNoLocale || id == LOCALE_INVARIANT)
    {
        return id;
    }
    switch (id)
    {
    case 0:
    case LOCALE_USER_DEFAULT:
    case LOCALE_SYSTEM_DEFAULT:
    case kCustomLocale:
    case 0x1000: // a locale without an id of its own
    case 0x1400: // the language of the user's programs
    {
        static LCID const userId = ReadUserId();
        return userId;
    }
    default:
        break;
    }
    if (Neutral const * const neutral = FindNeutral(id); neutral != nullptr)
    {
        return neutral->stands;
    }
    if (id < 0x100)
    {
        return FindLocale(id | 0x400) != kNoLocale ? id | 0x400 : 0;
    }
    return std::binary_search(std::begin(kSortIds), std::end(kSortIds), id) ? id & 0xFFFF : 0;
}

std::string NeutralName(LCID id)
{
    if (id == LOCALE_INVARIANT)
    {
        return {};
    }
    Neutral const * const neutral = FindNeutral(id);
    if (neutral != nullptr && neutral->name != nullptr)
    {
        return neutral->name;
    }
    if (neutral == nullptr && id >= 0x100)
    {
        return {};
    }
    std::size_t const index = FindLocale(neutral != nullptr ? neutral->stands : id | 0x400);
    return index != kNoLocale ? std::string(LanguageOf(kLocales[index].name)) : std::string();
}

LCID NeutralId(std::string_view name) noexcept
{
    for (Neutral const & neutral : kNeutrals)
    {
        std::string_view const own = neutral.name != nullptr ? std::string_view(neutral.name)
                                                             : LanguageOf(kLocales[FindLocale(neutral.stands)].name);
        if (SameName(own, name))
        {
            return neutral.id;
        }
    }
    for (LocaleId const & entry : kLocales)
    {
        if ((entry.id & 0xFC00) == 0x0400 && SameName(LanguageOf(entry.name), name))
        {
            return entry.id & 0xFF;
        }
    }
    return 0;
}

std::string LanguageTag(LocaleId const & locale)
{
    std::string_view const name = locale.name;
    // Names that only the platform has.
    for (auto const & [own, tag] :
         {std::pair<std::string_view, char const *>{"prs-", "fa-"}, {"quz-", "qu-"}, {"ku-Arab-", "ckb-"}})
    {
        if (name.starts_with(own))
        {
            return tag + std::string(name.substr(std::min(own.size(), name.size())));
        }
    }
    return std::string(name.substr(0, name.find('_')));
}

} // namespace qvlib::host::internal
