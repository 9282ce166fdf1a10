// A progress line on standard error for batches, shown only when asked (when
// standard error is a terminal) and cleared before anything else is printed.
#ifndef KEVRA_TOOLS_PROGRESS_H
#define KEVRA_TOOLS_PROGRESS_H

#include <ostream>
#include <string>

namespace kevra_tool {

class Progress {
public:
    Progress(std::ostream& err, bool enabled) : err_(err), enabled_(enabled) {}
    void show(size_t done, size_t total, const std::string& name) {
        if (!enabled_) return;
        err_ << "\r\033[K[" << done + 1 << "/" << total << "] " << name << std::flush;
        shown_ = true;
    }
    void clear() {
        if (shown_) err_ << "\r\033[K" << std::flush;
        shown_ = false;
    }

private:
    std::ostream& err_;
    bool enabled_;
    bool shown_ = false;
};

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_PROGRESS_H
