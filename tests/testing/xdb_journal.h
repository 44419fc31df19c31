#ifndef TESTING_XDB_JOURNAL_H_
#define TESTING_XDB_JOURNAL_H_

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "xdb/container/container.h"

namespace kiv::testing {

// Whether those tests that run for as long as one likes are to run for long;
// ctest asks it of the slow ones.
inline bool AreLongTestsWanted() {
  return std::getenv("KIV_LONG_TESTS") != nullptr;
}

// With all that there is.
inline constexpr xdb::EnvironmentSwitches kXdbEnvironment = {
    .thread = true, .lock = true, .log = true, .transactions = true};
inline constexpr xdb::ContainerSwitches kXdbContainer = {
    .create = true, .encrypted = false, .thread = true, .transactional = true};

// What one worker of a container has: its documents' names and versions.
using XdbDocuments = std::map<std::string, int>;

// One change that a worker makes to its documents.
struct XdbChange {
  std::string kind;  // put, replace, delete, rename
  std::string name;
  std::string new_name;  // of a rename
  int version;
};

// What the transaction of that number changes, always the same; `documents` are
// then what they become.
inline std::vector<XdbChange> XdbTransaction(const std::string& owner,
                                             int number,
                                             XdbDocuments& documents) {
  std::mt19937 random(static_cast<unsigned>(number));
  std::vector<XdbChange> changes;
  for (int left = random() % 3 == 0 ? 3 : 1; left > 0; --left) {
    const int version = number * 4 + left;
    const std::string fresh = owner + "-" + std::to_string(version);
    auto at = documents.begin();
    if (at != documents.end()) std::advance(at, random() % documents.size());
    const auto choice = random() % 10;
    if (at == documents.end() || (choice > 5 && documents.size() < 80)) {
      changes.push_back({"put", fresh, "", version});
      documents[fresh] = version;
    } else if (choice < 3) {
      changes.push_back({"replace", at->first, "", version});
      at->second = version;
    } else {
      changes.push_back(
          {choice < 5 ? "rename" : "delete", at->first, fresh, 0});
      if (choice < 5) documents[fresh] = at->second;
      documents.erase(at);
    }
  }
  return changes;
}

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

// What the journal of a worker says so far. Every line is written before the
// next step and stays when the process is killed:
//   open MS     the environment is open
//   try NUMBER  the transaction of that number, then
//   did, not    how it ended
//   lost        how it ended is not known: the environment died
struct XdbAccount {
  XdbDocuments documents;
  // How the last transaction ended is not known: these, or what they become.
  bool is_in_doubt = false;
  XdbDocuments after;
  int number = 0;  // of the last transaction
  int done = 0;
  int longest_open_ms = 0;
  std::string problems;  // a line each

  // Of the file of that name.
  explicit XdbAccount(const std::string& owner) {
    std::ifstream file(owner);
    for (std::string line; std::getline(file, line);) {
      std::istringstream words(line);
      std::string word;
      words >> word;
      if (word == "open") {
        int milliseconds = 0;
        words >> milliseconds;
        longest_open_ms = std::max(longest_open_ms, milliseconds);
      } else if (word == "try") {
        words >> number;
        is_in_doubt = true;
        after = documents;
        XdbTransaction(owner, number, after);
      } else if (word == "did" || word == "not") {
        is_in_doubt = false;
        if (word == "not") continue;
        documents = after;
        ++done;
      } else if (word != "lost") {
        problems += line + "\n";
      }
    }
  }
};

}  // namespace kiv::testing

#endif  // TESTING_XDB_JOURNAL_H_
