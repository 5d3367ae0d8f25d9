// DiagnosticsLog: a LoggerBase that keeps what a diagnostics run wrote, as a
// report (the preamble, then each test with its messages and figures), and
// renders it as readable text lines as they come.
//
// Rendering: every message is one line with its text unchanged; a blank line
// comes before each test's title.
// Lines are UTF-8 without line breaks, handed to the line sink (if any) as
// soon as they are known, so that a long run shows its progress.
// Threads: one run writes to it at a time.
#pragma once

#include "host/misc/LoggerBase.h"

#include <functional>
#include <string>
#include <vector>

class DiagnosticsLog final : public LoggerBase {
public:
    struct Message {
        std::string text; // UTF-8
        int level = 0;
    };
    struct Test {
        std::string title;
        std::vector<Message> messages; // after the title
        bool failed() const;
        // The figure of a result line "N.NNfps"; false when the test wrote none.
        bool fps(double& value) const;
    };

    explicit DiagnosticsLog(std::function<void(const std::string& line)> lineSink = {}) : m_sink(std::move(lineSink)) {}

    void write(const LightweightString<wchar_t>& text, int level) override;
    void beginTests(int level) override;
    void endTests() override;
    void endTest() override;

    const std::vector<std::string>& preamble() const { return m_preamble; }
    const std::vector<Test>& tests() const { return m_tests; }
    bool anyFailed() const;

private:
    void emit(const std::string& line) {
        if (m_sink) m_sink(line);
    }

    std::function<void(const std::string&)> m_sink;
    std::vector<std::string> m_preamble;
    std::vector<Test> m_tests;
    int m_titleLevel = eTitle;
    bool m_inTests = false;
    bool m_testOpen = false;
};
