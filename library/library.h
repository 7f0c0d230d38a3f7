// What the service wrote, of which kind it is and which match it shows, kept in
// written.ini beside the settings. The file is read, changed and written back at each
// change, so that nothing is held that a crash could lose. Any thread: changes wait for
// each other and for the drive, so not the main thread while it has anything to do.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock.h"
#include "base/mutex.h"
#include "base/status.h"
#include "library/written_list.h"

namespace orventa {

using FileMoves = std::map<std::string, std::string, std::less<>>;  // from, to

class Library {
 public:
  // `path` is that of written.ini. The clock must outlive the library.
  Library(IClock& clock, std::string path);

  // The facts as they stand, the oldest first.
  Status Read(std::vector<WrittenFact>& facts);

  // A file was just written. What was known of an older one at that path goes.
  Status AddWritten(std::string_view path, WrittenKind kind);
  // A file was found. A kind that is known of it stays.
  Status AddFound(std::string_view path, WrittenKind kind);
  Status LinkToMatch(std::string_view path, std::string_view id);
  // Files that were renamed or moved: `moved` of them were known and keep their kind
  // and match.
  Status Move(const FileMoves& moves, size_t& moved);
  // Files that are gone from folders that are there: a drive may be away for a while.
  Status ForgetVanished(size_t& forgotten);

 private:
  // Whether the list is another one now.
  using Change = std::function<bool(std::vector<WrittenFact>& facts)>;
  Status Update(const Change& change);
  Status ReadLocked(std::vector<WrittenFact>& facts) ORVENTA_REQUIRES(lock_);
  Status WriteLocked(const std::vector<WrittenFact>& facts) ORVENTA_REQUIRES(lock_);

  IClock& clock_;
  const std::string path_;
  // Around each reading, changing and writing back.
  Mutex lock_;
};

}  // namespace orventa
