#ifndef PORT_FILE_CLAIMS_H_
#define PORT_FILE_CLAIMS_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "port/directory_watch.h"

// How one program takes files out of a folder in which others leave them.
//
// Renaming is what decides: a file belongs to whoever moved it into a folder of
// his own below the watched one. Names are relative to the watched folder, "/"
// between folders, the system's own bytes; no link in them is followed.
//   .processing/run-<id>/lock   held by the process as long as it lives
//   .processing/run-<id>/<n>/   taken for the n-th time
//   .done/  .failed/            as the folder itself is divided
namespace kiv::port {

// A file that is ours until we put it somewhere.
struct FileClaim {
  std::string name;
  // From 1: how often its processing was begun.
  int attempt = 1;
  std::uint64_t size_bytes = 0;
  // What it is like, for HasChanged.
  std::uint64_t index = 0;
  std::int64_t written_ns = 0;
};

// A file that a process which is no more had taken.
struct Leftover {
  std::string place;  // below .processing
  std::string name;
  int attempts = 0;
};

// What stands under a name now.
struct FileLook {
  enum class Kind { Missing, File, Link, Other, Unseen };
  Kind kind = Kind::Missing;
  // Together they change whenever the file does.
  std::uint64_t index = 0;
  std::uint64_t size_bytes = 0;
  std::int64_t written_ns = 0;
  std::int64_t changed_ns = 0;

  bool IsSameAs(const FileLook& other) const {
    return kind == other.kind && index == other.index &&
           size_bytes == other.size_bytes && written_ns == other.written_ns &&
           changed_ns == other.changed_ns;
  }
};

class FileClaims {
 public:
  // Makes the folders that are missing, with the mode of the watched one. Null
  // on failure, with the reason in the local encoding. `path` is native text.
  static std::unique_ptr<FileClaims> Open(const std::string& path,
                                          std::string& reason);
  // Removes what is empty and lets go of the rest, for the next to find.
  virtual ~FileClaims() = default;

  virtual FileLook LookAt(const std::string& name) = 0;

  enum class Outcome {
    Taken,         // and read
    Unfit,         // taken, and cannot be handed on; `reason`
    Gone,          // nothing there, or somebody else was quicker
    BeingWritten,  // somebody has it open for writing
    Unsure,        // it changed lately, and the system does not say who has it
    LeftAlone,     // a link, a pipe, on another file system; `reason`
    Refused,       // left where it is for now; `reason`
    Lost,          // left; our own folders are no longer there: open anew
  };
  struct Taking {
    Outcome outcome = Outcome::Gone;
    FileClaim claim;
    std::string reason;  // local encoding
  };
  // Takes the file and reads it into `bytes`, unless it has more than
  // `most_bytes`. Asks who has it open for writing, however it was seen.
  virtual Taking Take(const std::string& name,
                      ChangeRecord::Certainty certainty, std::size_t most_bytes,
                      std::string& bytes) = 0;

  // What processes that are no more have left. None of theirs that live.
  virtual std::vector<Leftover> Leftovers() = 0;
  virtual Taking TakeLeftover(const Leftover& leftover, std::size_t most_bytes,
                              std::string& bytes) = 0;

  // Where a claim ends. False leaves it claimed; LastError() says why, and
  // IsNotFound of it that somebody took the file away.
  virtual bool HasChanged(const FileClaim& claim) = 0;
  virtual bool Delete(const FileClaim& claim) = 0;
  virtual bool MoveToDone(const FileClaim& claim) = 0;
  // A file beside it, named after it and ".reason", holds the text, which is in
  // the local encoding; where that cannot be written, the file alone moves.
  virtual bool MoveToFailed(const FileClaim& claim,
                            const std::string& reason) = 0;

  // Removes folders of ours that became empty.
  virtual void Tidy() = 0;
};

}  // namespace kiv::port

#endif  // PORT_FILE_CLAIMS_H_
