#include "library/library.h"

#include <algorithm>
#include <map>
#include <set>

#include "base/files.h"
#include "base/log.h"
#include "settings/text_file.h"

namespace orventa {
namespace {

// Half a million files at the usual length of a path.
constexpr uint64_t kMaxBytes = 64 * 1024 * 1024;

// What a line cannot hold; a zero byte would count as damage.
bool FitsLine(std::string_view text) {
  return text.find_first_of(std::string_view("=\r\n\0", 4)) == std::string_view::npos;
}

Status CheckPath(std::string_view path) {
  if (path.empty()) return {StatusCode::InvalidArgument, "no path to record"};
  if (FitsLine(path)) return Status::Ok();
  return {StatusCode::InvalidArgument, "a path with = or a line end cannot be recorded"};
}

bool AddFact(std::vector<WrittenFact>& facts, WrittenFact fact) {
  if (std::find(facts.begin(), facts.end(), fact) != facts.end()) return false;
  facts.push_back(std::move(fact));
  return true;
}

}  // namespace

Library::Library(IClock& clock, std::string path) : clock_(clock), path_(std::move(path)) {}

Status Library::Read(std::vector<WrittenFact>& facts) {
  const MutexLock lock(lock_);
  return ReadLocked(facts);
}

Status Library::AddWritten(std::string_view path, WrittenKind kind) {
  if (Status status = CheckPath(path); !status.ok()) return status;
  return Update([&](std::vector<WrittenFact>& facts) {
    std::erase_if(facts, [&](const WrittenFact& fact) { return fact.path == path; });
    facts.push_back({std::string(WrittenKindWord(kind)), std::string(path)});
    return true;
  });
}

Status Library::AddFound(std::string_view path, WrittenKind kind) {
  if (Status status = CheckPath(path); !status.ok()) return status;
  return Update([&](std::vector<WrittenFact>& facts) {
    const bool known = std::any_of(facts.begin(), facts.end(), [&](const WrittenFact& fact) {
      return fact.path == path && fact.TellsKind();
    });
    if (!known) facts.push_back({std::string(WrittenKindWord(kind)), std::string(path)});
    return !known;
  });
}

Status Library::LinkToMatch(std::string_view path, std::string_view id) {
  if (id.empty() || !FitsLine(id)) {
    return {StatusCode::InvalidArgument, "not a match id: " + std::string(id)};
  }
  if (Status status = CheckPath(path); !status.ok()) return status;
  return Update([&](std::vector<WrittenFact>& facts) {
    return AddFact(facts, {"match:" + std::string(id), std::string(path)});
  });
}

Status Library::Move(const FileMoves& moves, size_t& moved) {
  moved = 0;
  for (const auto& [from, to] : moves) {
    if (Status status = CheckPath(to); !status.ok()) return status;
  }
  return Update([&](std::vector<WrittenFact>& facts) {
    std::set<std::string, std::less<>> known;
    for (const WrittenFact& fact : facts) known.insert(fact.path);
    FileMoves real;
    std::set<std::string, std::less<>> replaced;
    for (const auto& [from, to] : moves) {
      if (!known.contains(from) || from == to) continue;
      real.emplace(from, to);
      replaced.insert(to);
    }
    moved = real.size();
    // All at once: two files may have changed names with each other.
    std::erase_if(facts, [&](const WrittenFact& fact) {
      return replaced.contains(fact.path) && !real.contains(fact.path);
    });
    for (WrittenFact& fact : facts) {
      if (const auto move = real.find(fact.path); move != real.end()) fact.path = move->second;
    }
    return moved != 0;
  });
}

Status Library::ForgetVanished(size_t& forgotten) {
  forgotten = 0;
  std::vector<WrittenFact> facts;
  if (Status status = Read(facts); !status.ok()) return status;

  // Looked for without the lock: drives that sleep take seconds to answer.
  std::map<std::string, bool, std::less<>> folders;
  std::set<std::string, std::less<>> gone;
  for (const WrittenFact& fact : facts) {
    const std::string folder(ParentFolder(fact.path));
    const auto [known, unseen] = folders.try_emplace(folder, false);
    if (unseen) known->second = FolderExists(folder);
    if (known->second && !FileExists(fact.path)) gone.insert(fact.path);
  }
  if (gone.empty()) return Status::Ok();
  forgotten = gone.size();
  return Update([&](std::vector<WrittenFact>& all) {
    return std::erase_if(all, [&](const WrittenFact& fact) {
             // One may have been written since.
             return gone.contains(fact.path) && !FileExists(fact.path);
           }) != 0;
  });
}

Status Library::Update(const Change& change) {
  const MutexLock lock(lock_);
  std::vector<WrittenFact> facts;
  if (Status status = ReadLocked(facts); !status.ok()) return status;
  if (!change(facts)) return Status::Ok();
  return WriteLocked(facts);
}

Status Library::ReadLocked(std::vector<WrittenFact>& facts) {
  facts.clear();
  SettingsTextFile file;
  if (Status status = ReadSettingsText(clock_, path_, file, kMaxBytes); !status.ok()) {
    return status;
  }
  if (file.unusable) {
    // Somebody may still make something of it; a new list must not go over it.
    const std::string aside = path_ + ".damaged";
    if (!MoveReplacing(path_, aside).ok()) {
      return {StatusCode::InvalidArgument, "cannot read " + path_};
    }
    LogWarning("library: %s was damaged and begins anew; the old one is %s", path_.c_str(),
               aside.c_str());
  }
  facts = ReadWrittenList(file.text);
  return Status::Ok();
}

Status Library::WriteLocked(const std::vector<WrittenFact>& facts) {
  AtomicWriteStep failed_at = AtomicWriteStep::Write;
  FileResult result = CreateFolders(ParentFolder(path_));
  if (result.ok()) {
    result = WriteFileAtomically(path_, WrittenListText(facts), KeepBackup::Yes, &failed_at);
  }
  if (result.ok()) return Status::Ok();
  const bool full = result.error == FileError::DriveFull;
  const char* what = failed_at == AtomicWriteStep::Replace ? "could not replace " : "cannot write ";
  return {full ? StatusCode::DriveFull : StatusCode::InvalidArgument, what + path_};
}

}  // namespace orventa
