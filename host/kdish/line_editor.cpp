#include "host/kdish/line_editor.h"

#include <histedit.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace kdish {
namespace {

constexpr std::size_t kMostShown = 200;

// Where the line is shown; results may go to a file all the same.
FILE* screen() { return ::isatty(STDOUT_FILENO) == 0 && ::isatty(STDERR_FILENO) != 0 ? stderr : stdout; }

std::size_t terminal_columns() {
  winsize size{};
  constexpr std::size_t kUsual = 80;
  return ::ioctl(::fileno(screen()), TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsual;
}

// Ask the terminal for marks around what is pasted, while a line is edited: programs that run know nothing of them.
constexpr char const* kMarkPastes = "\033[?2004h";
constexpr char const* kMarkNone = "\033[?2004l";

void tell_terminal(char const* sequence) {
  char const* const terminal = std::getenv("TERM");
  if (terminal == nullptr || *terminal == '\0' || std::strcmp(terminal, "dumb") == 0) return;
  std::fputs(sequence, screen());
  std::fflush(screen());
}

// Candidates in columns, read downwards.
void show(std::vector<Candidate> const& candidates) {
  const std::size_t count = std::min(candidates.size(), kMostShown);
  std::size_t widest = 1;
  for (std::size_t i = 0; i < count; ++i) widest = std::max(widest, candidates[i].shown.size());
  const std::size_t columns = std::max<std::size_t>(1, terminal_columns() / (widest + 2));
  const std::size_t rows = (count + columns - 1) / columns;
  std::string text = "\n";
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t i = row; i < count; i += rows) {
      text += candidates[i].shown;
      if (i + rows < count) text += std::string(widest + 2 - candidates[i].shown.size(), ' ');
    }
    text += '\n';
  }
  if (count < candidates.size()) text += "... and " + std::to_string(candidates.size() - count) + " more\n";
  std::fputs(text.c_str(), screen());
  std::fflush(screen());
}

}  // namespace

struct LineEditor::state {
  EditLine* editor = nullptr;
  History* history = nullptr;
  HistEvent event{};
  Completer completer;
  std::string prompt;
  bool interrupted = false;

  static state& of(EditLine* editor) {
    void* data = nullptr;
    el_get(editor, EL_CLIENTDATA, &data);
    return *static_cast<state*>(data);
  }

  static char* current_prompt(EditLine* editor) { return of(editor).prompt.data(); }

  static unsigned char on_interrupt(EditLine* editor, int /*character*/) {
    of(editor).interrupted = true;
    std::fputs("^C\n", screen());
    std::fflush(screen());
    return CC_NEWLINE;
  }

  static unsigned char on_tab(EditLine* editor, int /*character*/) {
    LineInfo const* const line = el_line(editor);
    const std::string to_cursor(line->buffer, line->cursor);
    if (to_cursor.find_first_not_of(" \t") == std::string::npos)  // indented text that a terminal without marks pastes
      return el_insertstr(editor, "\t") == -1 ? CC_ERROR : CC_REFRESH;
    Completion completion;
    try {
      completion = of(editor).completer(to_cursor);
    } catch (std::exception const&) {
      return CC_ERROR;  // no completion is worth the line that is being typed
    }
    if (completion.candidates.empty() || completion.begin > to_cursor.size()) return CC_ERROR;
    const std::string typed = to_cursor.substr(completion.begin);
    const bool is_only = completion.candidates.size() == 1;
    std::string text = completion.common();
    if (is_only && completion.candidates[0].whole) text += text.starts_with('"') ? "\" " : " ";
    if (text != typed && text.size() >= typed.size()) {
      el_deletestr(editor, static_cast<int>(characters(typed)));
      if (el_insertstr(editor, text.c_str()) == -1) return CC_ERROR;
      return CC_REFRESH;
    }
    if (is_only) return CC_ERROR;
    show(completion.candidates);
    return CC_REDISPLAY;
  }

  // What is pasted comes between two marks, and is text: no key in it does anything. A line end is one of the
  // terminal's.
  static unsigned char on_paste(EditLine* editor, int /*character*/) {
    constexpr std::wstring_view kEnd = L"\033[201~";
    std::wstring text;
    wchar_t character = L'\0';
    while (!text.ends_with(kEnd) && el_wgetc(editor, &character) == 1)
      if (character != L'\0') text += character == L'\r' ? L'\n' : character;
    if (text.ends_with(kEnd)) text.resize(text.size() - kEnd.size());
    while (text.ends_with(L'\n')) text.pop_back();  // Return runs it
    return text.empty() || el_winsertstr(editor, text.c_str()) == -1 ? CC_ERROR : CC_REFRESH;
  }

  // What the editor counts in.
  static std::size_t characters(std::string const& text) {
    const std::size_t count = std::mbstowcs(nullptr, text.c_str(), 0);
    return count == static_cast<std::size_t>(-1) ? text.size() : count;
  }
};

LineEditor::LineEditor(std::vector<std::string> const& history, Completer completer)
    : state_(std::make_unique<state>()) {
  state_->completer = std::move(completer);
  state_->history = history_init();
  ::history(state_->history, &state_->event, H_SETSIZE, static_cast<int>(kMostRemembered));
  ::history(state_->history, &state_->event, H_SETUNIQUE, 1);
  for (std::string const& command : history) remember(command);

  state_->editor = el_init("kdish", stdin, screen(), stderr);
  EditLine* const editor = state_->editor;
  el_set(editor, EL_CLIENTDATA, state_.get());
  el_set(editor, EL_EDITOR, "emacs");
  el_set(editor, EL_SIGNAL, 1);
  el_set(editor, EL_PROMPT, state::current_prompt);
  el_set(editor, EL_HIST, ::history, state_->history);
  el_set(editor, EL_ADDFN, "kdish-complete", "Completes the word", state::on_tab);
  el_set(editor, EL_ADDFN, "kdish-interrupt", "Gives the line up", state::on_interrupt);
  el_set(editor, EL_BIND, "\t", "kdish-complete", nullptr);
  el_set(editor, EL_ADDFN, "kdish-paste", "Takes pasted text as it is", state::on_paste);
  el_set(editor, EL_BIND, "\033[200~", "kdish-paste", nullptr);
  el_set(editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
  // While a line is edited Ctrl-C is a key like others, not a signal.
  el_set(editor, EL_SETTY, "-d", "-isig", nullptr);
  el_set(editor, EL_BIND, "^C", "kdish-interrupt", nullptr);
  // Ctrl-D that is typed while a command runs comes out of the terminal as a zero, which would quote the next key.
  el_set(editor, EL_BIND, "^@", "ed-ignore", nullptr);
  el_source(editor, nullptr);  // a person's own ~/.editrc
}

LineEditor::Ending LineEditor::read(std::string const& prompt, std::string& line) {
  state_->prompt = prompt;
  state_->interrupted = false;
  int count = 0;
  errno = 0;
  el_set(state_->editor, EL_PREP_TERM, 1);  // before the prompt is there: a key typed at it is a key, not a signal
  tell_terminal(kMarkPastes);
  char const* const text = el_gets(state_->editor, &count);
  tell_terminal(kMarkNone);
  if (state_->interrupted) return Ending::interrupted;
  if (text == nullptr || count <= 0) return count < 0 && errno == EINTR ? Ending::interrupted : Ending::end_of_input;
  line.assign(text, static_cast<std::size_t>(count));
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
  return Ending::line;
}

bool LineEditor::remember(std::string const& command) {
  return ::history(state_->history, &state_->event, H_ENTER, command.c_str()) > 0;
}

}  // namespace kdish
