// Sets the process's C locale for one scope, as an editor that loads the
// library might (a decimal comma in LC_NUMERIC), and puts the old one back.
#pragma once

#include <clocale>
#include <string>

namespace QfTest {

// The decimal-comma locale that the test scripts generate.
inline constexpr const char* kCommaLocale = "de_DE.UTF-8";

class ScopedLocale {
public:
    explicit ScopedLocale(const char* name) : m_previous(std::setlocale(LC_ALL, nullptr)) {
        m_active = std::setlocale(LC_ALL, name) != nullptr;
    }
    ~ScopedLocale() { std::setlocale(LC_ALL, m_previous.c_str()); }
    ScopedLocale(const ScopedLocale&) = delete;
    ScopedLocale& operator=(const ScopedLocale&) = delete;

    // False when the machine lacks the locale (the test then skips).
    bool active() const { return m_active; }

private:
    std::string m_previous;
    bool m_active = false;
};

} // namespace QfTest
