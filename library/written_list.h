// The text of written.ini, the list of what the service wrote: one fact a line,
// "<key>=<path>". The key is the kind of the file or "match:<id>", the match that it
// shows. The window process reads the file, too. Any thread.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orventa {

enum class WrittenKind { Clip, Replay, Recording, Screenshot };
std::string_view WrittenKindWord(WrittenKind kind);

struct WrittenFact {
  std::string key;   // not empty; no '=' and no line end in it
  std::string path;  // not empty; no line end in it

  bool TellsKind() const;
  bool operator==(const WrittenFact&) const = default;
};

// The facts in their order. Keys of a newer version are facts like others; what is no
// fact, and what has been said before, is left out. Every text reads as some list.
std::vector<WrittenFact> ReadWrittenList(std::string_view text);
std::string WrittenListText(const std::vector<WrittenFact>& facts);

}  // namespace orventa
