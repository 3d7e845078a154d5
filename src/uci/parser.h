// Reading package files: statements "config TYPE [NAME]", "option NAME
// VALUE", "list NAME VALUE" and "package NAME", with quoting, comments and
// statement separators as UCI files have them.
#pragma once

#include "model.h"

#include <string>
#include <vector>

namespace vuci {

struct parse_error {
    std::string reason;  // "unterminated '", "invalid command", ...
    int line = 0;        // 1-based
    int byte = 0;        // offset in the line where reading stopped
};

// Reads the words of UCI text one at a time. Quoted pieces may span lines;
// '#' at a word start runs to the end of the line.
class word_scanner {
  public:
    explicit word_scanner(const std::string& text) : text_(text) {}
    // Skips blanks; true when another word of the current statement follows.
    // A line end, a comment, a ';' after a blank or the end of the text ends
    // the statement.
    bool more_words();
    // Reads one word into `word` (quotes removed, pieces joined). False with
    // `error` filled when a quote is not closed or the word holds a NUL.
    bool read_word(std::string* word, parse_error* error);
    // Moves past the end of the current statement (or of the line, when
    // `whole_line`); false at the end of the text.
    bool next_statement(bool whole_line);
    bool at_end() const { return pos_ >= text_.size(); }
    int line() const { return line_; }
    int byte() const { return (int)(pos_ - line_start_); }

  private:
    void newline_at(size_t newline_pos);
    bool quoted(char quote, std::string* word, parse_error* error);

    const std::string& text_;
    size_t pos_ = 0;
    size_t line_start_ = 0;
    int line_ = 1;
};

// Parses one package file into `out` (whose name the caller sets; "package"
// statements are ignored). Strict: the first error stops parsing, returns
// ERR_PARSE and fills `errors` with it. Not strict: a statement with an error
// is dropped with the rest of its line, the error is added to `errors`, and
// reading goes on (OK is returned).
int parse_package(const std::string& text, bool strict, package* out, std::vector<parse_error>* errors);

// Parses an import text whose "package NAME" statements start new packages;
// text before the first of them belongs to `first_name` (none when empty).
int parse_packages(const std::string& text, const std::string& first_name, bool strict,
                   std::vector<std::unique_ptr<package>>* out, std::vector<parse_error>* errors);

}  // namespace vuci
