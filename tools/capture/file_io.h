// Whole-file reads, and writes that never leave a partial file behind.
#ifndef KEVRA_TOOLS_FILE_IO_H
#define KEVRA_TOOLS_FILE_IO_H

#include <cstddef>
#include <string>

namespace kevra_tool {

// On failure returns false with a short reason ("No such file or directory").
bool read_file(const std::string& path, std::string& bytes, std::string& reason);

// The file for item index (from 0) of count written to one path: the path
// itself for a single item, else frames.json -> frames-0001.json, ...
std::string numbered_path(const std::string& path, size_t index, size_t count);

// Writes to a temporary file beside path and renames it over path, so readers
// see the old file or the whole new one. Throws InputError naming path.
void write_file_atomically(const std::string& path, const std::string& bytes);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_FILE_IO_H
