// The status line of a run on stderr: the check under way, its package and
// the time since the run began. Shown only when stderr is a terminal.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace qvice {

class Progress {
public:
    // `enabled` false makes every call a no-op (stderr is no terminal). With
    // `ticker` a thread redraws the line four times a second; a caller that
    // forks must not have one, and calls Redraw itself instead.
    Progress(bool enabled, bool ticker, size_t packages);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // The check that `package` (its index on the command line) starts now.
    void Check(const std::string& package, const std::string& check);
    // Draws the line again with the elapsed time brought up to date.
    void Redraw();
    // A package is done.
    void Done();
    // Runs `write` with the status line taken off the screen, so that output
    // and notes never mix with it; the ticker draws it again.
    template <typename F>
    void Around(F&& write) {
        std::lock_guard<std::mutex> lock(m_mutex);
        EraseLocked();
        write();
    }

private:
    void EraseLocked();
    void DrawLocked();
    void Tick();

    const bool m_enabled;
    const size_t m_packages;
    size_t m_done = 0;
    std::string m_package, m_check;
    bool m_drawn = false;
    bool m_stop = false;
    std::chrono::steady_clock::time_point m_start;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::thread m_ticker;
};

}  // namespace qvice
