// Reading package files: statements "config TYPE [NAME]", "option NAME
// VALUE", "list NAME VALUE" and "package NAME", with quoting, comments,
// line joins and statement separators as UCI files have them.
#pragma once

#include "model.h"

#include <string>
#include <vector>

namespace vuci {

struct parse_error {
    std::string reason;  // "invalid command", "EOF with unterminated '", ...
    int line = 0;        // 1-based
    int byte = 0;        // offset from the start of the line where the statement began
};

// Reads UCI text one statement and one word at a time. The text is taken a
// line at a time into a buffer, which a backslash at the end of a line, a
// quote left open or a NUL byte (which hides the rest of its line, line end
// included) extends with the next line; error positions count in that
// buffer.
class statement_scanner {
  public:
    explicit statement_scanner(const std::string& text)
        : text_(text), has_nul_(text.find('\0') != std::string::npos) {}
    // Starts the next statement: after a ';' on the current line, else on
    // the next line. False at the end of the text.
    bool next_statement();
    // Skips blanks; true when another word of the statement follows. A line
    // end, a comment or a ';' ends the statement.
    bool more_words();
    // Reads one word (quotes removed, pieces joined). False, with `error`
    // filled, when a quote is still open at the end of the text.
    bool read_word(std::string* word, parse_error* error);
    // Drops the rest of the current line: the next statement starts on the next one.
    void skip_line() { rest_ignored_ = true; }
    // The byte at the read position (0 at the end of the buffer).
    char peek() const { return pos_ < buf_.size() ? buf_[pos_] : 0; }
    int line() const { return line_; }
    int byte() const { return (int)pos_; }
    // The position just past the word read last and the one blank or line end after it.
    int byte_after_word() const;
    // The position just past the end of the current statement (its ';' or line end).
    int byte_after_statement();

  private:
    // Appends the next line of the text to the buffer; false at the end.
    bool append_line();
    bool quoted(char quote, std::string* word, parse_error* error);

    const std::string& text_;
    const bool has_nul_;  // most texts have none: then lines need no search for one
    size_t next_ = 0;   // offset in text_ of the next line not read yet
    std::string buf_;   // the lines of the current statement
    size_t pos_ = 0;    // read position in buf_
    int line_ = 0;
    int first_line_ = 0;  // the line the buffer starts on
    bool rest_ignored_ = false;
};

// Parses one package file into `out` (whose name the caller sets; "package"
// statements are ignored). Strict: the first error stops parsing, returns
// ERR_PARSE and fills `errors` with it. Not strict: the rest of a line with
// an error is dropped, the error is added to `errors`, and reading goes on
// with the next line (OK is returned); the checks for too many arguments and
// for a section declared again with another type are off.
int parse_package(const std::string& text, bool strict, package* out, std::vector<parse_error>* errors);

// Parses an import text whose "package NAME" statements start new packages;
// text before the first of them belongs to `first_name` (none when empty).
int parse_packages(const std::string& text, const std::string& first_name, bool strict,
                   std::vector<std::unique_ptr<package>>* out, std::vector<parse_error>* errors);

}  // namespace vuci
