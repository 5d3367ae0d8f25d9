#include "diagnostics/DiagnosticsLog.h"

#include "host/base/Strings.h"

#include <algorithm>
#include <string_view>

bool DiagnosticsLog::Test::failed() const {
    return std::any_of(messages.begin(), messages.end(), [](const Message& m) { return m.level == eFailure; });
}

bool DiagnosticsLog::Test::fps(double& value) const {
    for (const Message& m : messages) {
        const std::string_view t = m.text;
        if (m.level == eResult && t.size() > 3 && t.ends_with("fps")) {
            value = doubleFromString(t.substr(0, t.size() - 3));
            return true;
        }
    }
    return false;
}

void DiagnosticsLog::write(const LightweightString<wchar_t>& text, int level) {
    const std::string line = toUTF8(text).str();
    if (!m_inTests) {
        m_preamble.push_back(line);
    } else if (level == m_titleLevel || !m_testOpen) {
        // A title opens a test; a message before any title gets an untitled one.
        m_tests.push_back({level == m_titleLevel ? line : std::string(), {}});
        m_testOpen = true;
        emit("");
        if (level != m_titleLevel) m_tests.back().messages.push_back({line, level});
    } else {
        m_tests.back().messages.push_back({line, level});
    }
    emit(line);
}

void DiagnosticsLog::beginTests(int level) {
    m_inTests = true;
    m_titleLevel = level;
}

void DiagnosticsLog::endTests() {
    m_inTests = false;
    m_testOpen = false;
}

void DiagnosticsLog::endTest() { m_testOpen = false; }

bool DiagnosticsLog::anyFailed() const {
    return std::any_of(m_tests.begin(), m_tests.end(), [](const Test& t) { return t.failed(); });
}
