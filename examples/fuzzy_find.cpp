// Fuzzy finder: the lines of a word list that share a long enough run of characters with what was typed, best first.
//
//     fuzzy_find [pattern [threshold [file]]]

#include "example.h"

#include <qvlib/FuzzyStringPattern.h>

#include <algorithm>
#include <string>
#include <vector>

namespace
{

struct Found
{
    int run; // the characters in a row that line and pattern share
    qvlib::CQVString line;
};

qvlib::CQVString Lower(qvlib::CQVString text) // matching itself has regard to case
{
    text.MakeLower();
    return text;
}

} // namespace

int main(int argc, char ** argv)
{
    qvlib::CQVString const typed = Lower(qvlib::CQVString(argc > 1 ? argv[1] : "consignement"));
    double const threshold = argc > 2 ? std::stod(argv[2]) : 0.4;
    std::ifstream file(argc > 3 ? argv[3] : EXAMPLE_METADATA "/../words.txt");
    if (!file)
    {
        std::cerr << "fuzzy_find: cannot open the word list\n";
        return 1;
    }

    // The pattern decides; the index tells how good a match is.
    qvlib::FuzzyStringPattern const pattern(typed, threshold);
    qvlib::SuffixAutomaton const index(typed);
    std::vector<Found> matches;
    std::size_t lines = 0;
    for (std::string text; std::getline(file, text); ++lines)
    {
        qvlib::CQVString const line = qvlib::AsCStringFromUtf8(text);
        qvlib::CQVString const lower = Lower(line);
        if (pattern.Match(lower))
            matches.push_back({index.LongestCommonSubstring(lower), line});
    }
    std::stable_sort(matches.begin(), matches.end(), [](Found const & a, Found const & b) { return a.run > b.run; });

    std::cout << matches.size() << " of " << lines << " lines are like \"" << Utf8(typed) << "\":\n";
    for (Found const & match : matches)
        std::cout << "  " << match.run << "  " << Utf8(match.line) << '\n';
    return 0;
}
