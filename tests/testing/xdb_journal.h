#ifndef TESTING_XDB_JOURNAL_H_
#define TESTING_XDB_JOURNAL_H_

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace kiv::testing {

// What one worker of a container has: its documents' names and versions.
using XdbDocuments = std::map<std::string, int>;

// One change that a worker makes to its documents.
struct XdbChange {
  std::string kind;  // put, replace, delete, rename
  std::string name;
  std::string new_name;  // "-" where there is none
  int version = 0;

  void ApplyTo(XdbDocuments& documents) const {
    if (kind == "put" || kind == "replace") documents[name] = version;
    if (kind == "rename") documents[new_name] = documents[name];
    if (kind == "delete" || kind == "rename") documents.erase(name);
  }
};

// The document of a name and version; large ones go over several pages.
inline std::string XdbContent(const std::string& owner, int version) {
  std::string text = "<order owner=\"" + owner + "\" version=\"" +
                     std::to_string(version) + "\">";
  const int lines = version % 50 == 0 ? 400 : 1 + version % 7;
  for (int i = 0; i < lines; ++i)
    text += "<line><item>" + std::to_string(version * 31 + i) +
            "</item><note>number " + std::to_string(i) + "</note></line>";
  return text + "</order>";
}

// A worker's journal. Every line is written before the next step and stays when
// the process is killed:
//   open MS COUNT           the environment is open, so many recoveries
//   try CHANGE; CHANGE ...  one transaction, then
//   did, not                how it ended
//   lost                    how it ended is not known: the environment died
class XdbJournal {
 public:
  explicit XdbJournal(const std::filesystem::path& path)
      : file_(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC,
                     0600)) {}
  ~XdbJournal() { ::close(file_); }
  XdbJournal(const XdbJournal&) = delete;
  XdbJournal& operator=(const XdbJournal&) = delete;

  void Add(std::string line) const {
    line += '\n';
    if (::write(file_, line.data(), line.size()) < 0) ::_exit(3);
  }
  void AddTry(const std::vector<XdbChange>& changes) const {
    std::string line = "try";
    for (const XdbChange& change : changes)
      line += " " + change.kind + " " + change.name + " " + change.new_name +
              " " + std::to_string(change.version);
    Add(line);
  }

 private:
  const int file_;
};

// What a journal says so far.
struct XdbAccount {
  XdbDocuments documents;
  // How the last transaction ended is not known: these, or what they become.
  bool is_in_doubt = false;
  XdbDocuments after;
  int last_version = 0;
  int done = 0;
  int opened = 0;
  int longest_open_ms = 0;
  std::vector<int> recovery_counts;
  std::vector<std::string> problems;

  explicit XdbAccount(const std::filesystem::path& path) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) Take(line);
  }

 private:
  void Take(const std::string& line) {
    std::istringstream words(line);
    std::string word;
    words >> word;
    if (word == "open") {
      int milliseconds = 0;
      int recoveries = 0;
      words >> milliseconds >> recoveries;
      ++opened;
      longest_open_ms = std::max(longest_open_ms, milliseconds);
      recovery_counts.push_back(recoveries);
    } else if (word == "try") {
      is_in_doubt = true;
      after = documents;
      XdbChange change;
      while (words >> change.kind >> change.name >> change.new_name >>
             change.version) {
        change.ApplyTo(after);
        last_version = std::max(last_version, change.version);
      }
    } else if (word == "did") {
      documents = after;
      is_in_doubt = false;
      ++done;
    } else if (word == "not") {
      is_in_doubt = false;
    } else if (word != "lost") {
      problems.push_back(line);
    }
  }
};

}  // namespace kiv::testing

#endif  // TESTING_XDB_JOURNAL_H_
