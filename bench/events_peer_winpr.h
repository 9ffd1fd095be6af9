// WinPR's events, without its headers, which define the platform's names as the library's do.
#pragma once

#include <array>

class WinPr
{
public:
    explicit WinPr(unsigned count);
    ~WinPr();
    WinPr(WinPr const &) = delete;
    WinPr & operator=(WinPr const &) = delete;
    void Set(unsigned i);
    void Wait(unsigned i);
    unsigned WaitAny();
    void WaitAll();

private:
    unsigned m_count;
    std::array<void *, 10> m_events;
};
