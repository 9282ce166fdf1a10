// Runs every job on each of several threads, each visiting the jobs in an
// order of its own (job n * (2t + 1) mod jobs, so jobs must be a power of
// two), and counts per thread the runs whose result differs from the one made
// alone. Used to show that separate instances share nothing.
#ifndef KEVRA_TESTS_ROBUSTNESS_ON_THREADS_H
#define KEVRA_TESTS_ROBUSTNESS_ON_THREADS_H

#include <functional>
#include <thread>
#include <vector>

namespace kevra_test {

// same(j): runs job j on a fresh instance; true when it matches the sequential run.
inline std::vector<int> mismatches_on_threads(int threads, int jobs, const std::function<bool(int n, int job)>& same) {
    std::vector<int> mismatches(size_t(threads), 0);
    std::vector<std::thread> running;
    for (int t = 0; t < threads; ++t)
        running.emplace_back([&, t] {
            for (int n = 0; n < jobs; ++n) mismatches[size_t(t)] += !same(n, n * (2 * t + 1) % jobs);
        });
    for (std::thread& th : running) th.join();
    return mismatches;
}

}  // namespace kevra_test

#endif  // KEVRA_TESTS_ROBUSTNESS_ON_THREADS_H
