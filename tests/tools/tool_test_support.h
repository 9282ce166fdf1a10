// Helpers for the tool's tests: a scratch directory and an in-process run of
// the command line.
#ifndef KEVRA_TESTS_TOOLS_TOOL_TEST_SUPPORT_H
#define KEVRA_TESTS_TOOLS_TOOL_TEST_SUPPORT_H

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "cli.h"

namespace kevra_tool_test {

struct TempDir {
    std::string path = (std::filesystem::temp_directory_path() / "kevra-tool-XXXXXX").string();

    TempDir() { ::mkdtemp(path.data()); }
    ~TempDir() { std::filesystem::remove_all(path); }
    std::string file(const std::string& name) const { return path + "/" + name; }
    void write(const std::string& name, const std::string& bytes) const {
        std::ofstream(file(name), std::ios::binary) << bytes;
    }
    std::set<std::string> entries() const {
        std::set<std::string> names;
        for (const auto& e : std::filesystem::directory_iterator(path)) names.insert(e.path().filename().string());
        return names;
    }
};

struct CliRun { int status; std::string out, err; };

// Runs `kevra args...`; progress as if err were a terminal.
inline CliRun run_cli(std::vector<std::string> args, bool progress = false) {
    args.insert(args.begin(), "kevra");
    std::vector<const char*> argv;
    for (const std::string& a : args) argv.push_back(a.c_str());
    std::ostringstream out, err;
    const int status = kevra_tool::run_cli(int(argv.size()), argv.data(), out, err, progress);
    return {status, out.str(), err.str()};
}

}  // namespace kevra_tool_test

#endif  // KEVRA_TESTS_TOOLS_TOOL_TEST_SUPPORT_H
