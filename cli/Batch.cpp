#include "cli/Batch.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>

namespace xmldsig::cli {

namespace {

class ProgressLine {
  public:
    ProgressLine(bool enabled, std::size_t total) : m_enabled(enabled), m_total(total) {}
    void clear() const {
        if (m_enabled) std::fputs("\r\033[K", stderr);
    }
    void draw(std::size_t done) const {
        if (!m_enabled) return;
        constexpr int kWidth = 30;
        const int filled = m_total == 0 ? kWidth : static_cast<int>(kWidth * done / m_total);
        std::fprintf(stderr, "\r[%.*s%*s] %zu/%zu files", filled, "##############################",
                     kWidth - filled, "", done, m_total);
        std::fflush(stderr);
    }

  private:
    bool m_enabled;
    std::size_t m_total;
};

}  // namespace

BatchTotals runBatch(const std::vector<std::string>& files, int jobs, bool progress,
                     const FileTask& task) {
    const auto start = std::chrono::steady_clock::now();
    const std::size_t n = files.size();
    std::vector<Report> reports(n);
    std::vector<FileOutcome> outcomes(n);
    std::vector<char> finished(n, 0);
    std::mutex mutex;
    std::condition_variable changed;
    std::atomic<std::size_t> next{0};

    auto worker = [&] {
        for (std::size_t i = next++; i < n; i = next++) {
            FileOutcome o = task(files[i], reports[i]);
            std::lock_guard<std::mutex> lock(mutex);
            outcomes[i] = o;
            finished[i] = 1;
            changed.notify_one();
        }
    };
    const int threads = jobs < 1 ? 1 : jobs;
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t) pool.emplace_back(worker);

    BatchTotals totals;
    ProgressLine line(progress, n);
    for (std::size_t i = 0; i < n; ++i) {
        {
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [&] { return finished[i] != 0; });
        }
        line.clear();
        reports[i].flush();
        totals.files++;
        totals.valid += outcomes[i].valid;
        totals.invalid += outcomes[i].invalid;
        totals.errors += outcomes[i].error ? 1 : 0;
        totals.unsignedFiles += outcomes[i].unsignedFile ? 1 : 0;
        line.draw(i + 1);
    }
    for (auto& t : pool) t.join();
    line.clear();
    totals.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return totals;
}

}  // namespace xmldsig::cli
