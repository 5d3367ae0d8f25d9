#include "ProgressBar.h"

#include <unistd.h>

ProgressBar::ProgressBar(std::FILE* stream) : m_stream(stream), m_enabled(isatty(fileno(stream)) == 1) {}

void ProgressBar::clear() {
    if (m_drawn) std::fputs("\r\033[K", m_stream);
    m_drawn = false;
}

void ProgressBar::draw() {
    constexpr int kWidth = 30;
    const int filled = int(m_progress * kWidth + 0.5);
    std::string bar(size_t(filled), '#');
    bar.append(size_t(kWidth - filled), '.');
    std::fprintf(m_stream, "\r\033[K[%s] %3d%%  %s", bar.c_str(), int(m_progress * 100 + 0.5), m_item.c_str());
    std::fflush(m_stream);
    m_drawn = true;
}

void ProgressBar::update(const std::string& item, double progress) {
    if (!m_enabled) return;
    std::lock_guard<std::mutex> hold(m_mutex);
    if (m_finished) return;
    m_item = item;
    m_progress = progress;
    draw();
}

void ProgressBar::print(std::string_view text) {
    std::lock_guard<std::mutex> hold(m_mutex);
    const bool redraw = m_drawn;
    clear();
    std::fwrite(text.data(), 1, text.size(), m_stream);
    if (redraw && !m_finished) draw();
    std::fflush(m_stream);
}

void ProgressBar::finish() {
    std::lock_guard<std::mutex> hold(m_mutex);
    clear();
    m_finished = true;
    std::fflush(m_stream);
}
