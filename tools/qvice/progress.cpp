// The status line of a run, redrawn by a ticker thread while checks run.
#include "progress.h"

#include <cstdio>

namespace qvice {

Progress::Progress(bool enabled, bool ticker, size_t packages)
    : m_enabled(enabled), m_packages(packages), m_start(std::chrono::steady_clock::now()) {
    if (m_enabled && ticker) m_ticker = std::thread([this] { Tick(); });
}

Progress::~Progress() {
    if (!m_enabled) return;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
        EraseLocked();
    }
    m_wake.notify_all();
    if (m_ticker.joinable()) m_ticker.join();
}

void Progress::Redraw() {
    if (!m_enabled) return;
    std::lock_guard<std::mutex> lock(m_mutex);
    DrawLocked();
}

void Progress::Check(const std::string& package, const std::string& check) {
    if (!m_enabled) return;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_package = package;
    m_check = check;
    DrawLocked();
}

void Progress::Done() {
    if (!m_enabled) return;
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_done;
}

void Progress::EraseLocked() {
    if (!m_drawn) return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    m_drawn = false;
}

void Progress::DrawLocked() {
    if (m_check.empty()) return;
    const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    std::string line = "\r\033[Kqvice: " + m_check + " on " + m_package;
    if (m_packages > 1) line += " (" + std::to_string(m_done) + "/" + std::to_string(m_packages) + " done)";
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, ", %.1f s", elapsed);
    line += seconds;
    std::fputs(line.c_str(), stderr);
    std::fflush(stderr);
    m_drawn = true;
}

void Progress::Tick() {
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_stop) {
        m_wake.wait_for(lock, std::chrono::milliseconds(250));
        if (!m_stop) DrawLocked();
    }
}

}  // namespace qvice
