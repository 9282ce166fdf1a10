// Whole-file reads, and writes that never leave a partial file behind.
#ifndef KEVRA_TOOLS_FILE_IO_H
#define KEVRA_TOOLS_FILE_IO_H

#include <string>

namespace kevra_tool {

// On failure returns false with a short reason ("No such file or directory").
bool read_file(const std::string& path, std::string& bytes, std::string& reason);

// Writes to a temporary file beside path and renames it over path, so readers
// see the old file or the whole new one. Throws InputError naming path.
void write_file_atomically(const std::string& path, const std::string& bytes);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_FILE_IO_H
