// A one-line progress bar on a terminal: "[#####.....]  42%  Item.fx".
//
// enabled() is false when the stream is not a terminal; then nothing is drawn.
// print() writes a line of text above the bar (clearing it first). Any thread
// may call; one mutex orders the output.
#pragma once

#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>

class ProgressBar {
public:
    explicit ProgressBar(std::FILE* stream);
    bool enabled() const { return m_enabled; }
    void update(const std::string& item, double progress);
    void print(std::string_view text);
    // Clears the bar for good.
    void finish();

private:
    void clear();
    void draw();

    std::FILE* m_stream;
    bool m_enabled;
    std::mutex m_mutex;
    std::string m_item;
    double m_progress = 0;
    bool m_drawn = false;
    bool m_finished = false;
};
