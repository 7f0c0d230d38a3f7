// What files.cpp, the portable half of files.h, needs from the platform's half.
// Included by those two only.
#pragma once

#include <cstddef>
#include <string_view>

namespace orventa::file_rules {

// The characters that separate names in a path; the first is the one to write.
std::string_view PathSeparators();
// How many leading bytes of the path name a root, which has no parent.
size_t RootLength(std::string_view path);
// Gives `to` the access rights of `from`, where a new file would not get them by
// itself.
void CopyAccess(std::string_view from, std::string_view to);
// Returns when a rename inside the folder of `path` has reached the medium, where
// the rename itself does not wait for that.
void CommitFolderOf(std::string_view path);

}  // namespace orventa::file_rules
