// The one kind of failure the tool reports to its user: a named file, and the
// field or part of it that is wrong.
#ifndef KEVRA_TOOLS_INPUT_ERROR_H
#define KEVRA_TOOLS_INPUT_ERROR_H

#include <stdexcept>
#include <string>

namespace kevra_tool {

class InputError : public std::runtime_error {
public:
    // field may be empty when the whole file is at fault (unreadable, not JSON).
    InputError(std::string file, std::string field, const std::string& problem)
        : std::runtime_error(compose(file, field, problem)), file_(std::move(file)), field_(std::move(field)) {}

    const std::string& file() const { return file_; }
    const std::string& field() const { return field_; }

private:
    static std::string compose(const std::string& file, const std::string& field, const std::string& problem) {
        return field.empty() ? file + ": " + problem : file + ": " + field + ": " + problem;
    }

    std::string file_;
    std::string field_;
};

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_INPUT_ERROR_H
