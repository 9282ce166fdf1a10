// Helpers for the tool's tests: a scratch directory and an in-process run of
// the command line.
#ifndef KEVRA_TESTS_TOOLS_TOOL_TEST_SUPPORT_H
#define KEVRA_TESTS_TOOLS_TOOL_TEST_SUPPORT_H

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

#include "cli.h"

namespace kevra_tool_test {

class TempDir {
public:
    TempDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "kevra-tool-XXXXXX").string();
        path_ = ::mkdtemp(pattern.data());
    }
    ~TempDir() { std::filesystem::remove_all(path_); }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    std::string file(const std::string& name) const { return (path_ / name).string(); }
    void write(const std::string& name, const std::string& bytes) const {
        std::ofstream(file(name), std::ios::binary) << bytes;
    }
    std::vector<std::string> entries() const {
        std::vector<std::string> names;
        for (const auto& e : std::filesystem::directory_iterator(path_)) names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    std::filesystem::path path_;
};

struct CliRun {
    int status;
    std::string out;
    std::string err;
};

inline CliRun run_cli(std::initializer_list<std::string> args, bool progress = false) {
    std::vector<std::string> words{"kevra"};
    words.insert(words.end(), args.begin(), args.end());
    std::vector<const char*> argv;
    for (const std::string& w : words) argv.push_back(w.c_str());
    std::ostringstream out, err;
    const int status = kevra_tool::run_cli(int(argv.size()), argv.data(), out, err, progress);
    return {status, out.str(), err.str()};
}

}  // namespace kevra_tool_test

#endif  // KEVRA_TESTS_TOOLS_TOOL_TEST_SUPPORT_H
