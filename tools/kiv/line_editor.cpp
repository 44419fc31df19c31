#include "line_editor.h"

#include <histedit.h>
#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <iostream>

#include "standard_streams.h"

namespace kiv_tool {

class LineEditor::Impl {
 public:
  explicit Impl(const std::string& history_file)
      : history_file_(history_file), history_(history_init()) {
    // Characters of several bytes, whatever the surroundings say.
    std::setlocale(LC_CTYPE, "C.UTF-8");
    editor_ = el_init("kiv", stdin, stdout, stderr);
    HistEvent event;
    history(history_, &event, H_SETSIZE, kRemembered);
    history(history_, &event, H_SETUNIQUE, 1);
    if (!history_file_.empty())
      history(history_, &event, H_LOAD, history_file_.c_str());
    if (editor_ == nullptr) return;
    el_set(editor_, EL_CLIENTDATA, this);
    el_set(editor_, EL_PROMPT, &Impl::Prompt);
    el_set(editor_, EL_EDITOR, "emacs");
    el_set(editor_, EL_HIST, history, history_);
    el_set(editor_, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    // While a line is typed Ctrl+C is a key like others.
    el_set(editor_, EL_SETTY, "-d", "-isig", nullptr);
    // Of narrow texts the library makes copies that it never frees.
    el_wset(editor_, EL_ADDFN, L"kiv-abandon", L"Gives the line up",
            &Impl::Abandon);
    el_set(editor_, EL_BIND, "^C", "kiv-abandon", nullptr);
    // The keys of a person's own.
    el_source(editor_, nullptr);
  }
  ~Impl() {
    if (!history_file_.empty()) {
      // Queries may hold what is nobody else's business.
      const mode_t mask = ::umask(0077);
      HistEvent event;
      history(history_, &event, H_SAVE, history_file_.c_str());
      ::umask(mask);
    }
    if (editor_ != nullptr) el_end(editor_);
    history_end(history_);
  }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  Outcome Read(const std::string& prompt, std::string& line) {
    prompt_ = prompt;
    if (editor_ == nullptr) return Outcome::End;
    int length = 0;
    is_abandoned_ = false;
    const char* const typed = el_gets(editor_, &length);
    if (is_abandoned_) return Outcome::Interrupted;
    if (typed == nullptr || length <= 0) {
      std::cout << '\n' << std::flush;
      return Outcome::End;
    }
    line.assign(typed, static_cast<std::size_t>(length));
    if (line.ends_with('\n')) line.pop_back();
    return Outcome::Line;
  }

  void Remember(const std::string& line) {
    HistEvent event;
    history(history_, &event, H_ENTER, line.c_str());
  }

 private:
  static constexpr int kRemembered = 1000;

  static char* Prompt(EditLine* editor) {
    void* self = nullptr;
    el_get(editor, EL_CLIENTDATA, &self);
    return static_cast<Impl*>(self)->prompt_.data();
  }
  static unsigned char Abandon(EditLine* editor, wint_t) {
    void* self = nullptr;
    el_get(editor, EL_CLIENTDATA, &self);
    static_cast<Impl*>(self)->is_abandoned_ = true;
    return CC_NEWLINE;
  }

  const std::string history_file_;
  std::string prompt_;
  History* const history_;
  EditLine* editor_ = nullptr;
  bool is_abandoned_ = false;
};

LineEditor::LineEditor(const std::string& history_file)
    : impl_(IsAtTerminal() ? std::make_unique<Impl>(history_file) : nullptr) {}

LineEditor::~LineEditor() = default;

bool LineEditor::IsAtTerminal() {
  return isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
}

LineEditor::Outcome LineEditor::Read(const std::string& prompt,
                                     std::string& line) {
  if (impl_ != nullptr) return impl_->Read(prompt, line);
  return HasStandardInput() && std::getline(std::cin, line) ? Outcome::Line
                                                            : Outcome::End;
}

void LineEditor::Remember(const std::string& line) {
  if (impl_ != nullptr) impl_->Remember(line);
}

}  // namespace kiv_tool
