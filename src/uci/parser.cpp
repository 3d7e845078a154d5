#include "parser.h"

#include <string.h>

namespace vuci {

namespace {

// Bytes that end a run of ordinary bytes outside quotes.
struct unquoted_stops {
    bool has[256] = {};
    unquoted_stops() {
        for (unsigned char c : std::string(" \t\r\n#;'\"\\")) has[c] = true;
    }
};
const unquoted_stops kUnquotedStops;

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

}  // namespace

bool statement_scanner::append_line() {
    if (next_ >= text_.size()) return false;
    for (;;) {
        size_t end = text_.find('\n', next_);
        end = end == std::string::npos ? text_.size() : end + 1;
        const char* start = text_.data() + next_;
        const char* nul = has_nul_ ? (const char*)memchr(start, 0, end - next_) : nullptr;
        next_ = end;
        if (!nul) {
            buf_.append(start, end - (start - text_.data()));
            return true;
        }
        // A NUL hides the rest of its line, the line end included, so the
        // next line continues this one (on the same line number).
        buf_.append(start, (size_t)(nul - start));
        if (next_ >= text_.size()) return true;
    }
}

bool statement_scanner::next_statement() {
    if (!rest_ignored_) {
        more_words();
        if (peek() == ';') {
            ++pos_;
            return true;
        }
    }
    rest_ignored_ = false;
    buf_.clear();
    pos_ = 0;
    if (!append_line()) return false;
    first_line_ = ++line_;
    return true;
}

bool statement_scanner::more_words() {
    if (rest_ignored_) return false;
    for (;;) {
        while (pos_ < buf_.size() && is_blank(buf_[pos_])) ++pos_;
        // A backslash at the end of a line joins the next one; the newline is not counted.
        if (pos_ + 1 < buf_.size() && buf_[pos_] == '\\' && buf_[pos_ + 1] == '\n') {
            buf_.erase(pos_ + 1, 1);
            ++pos_;
            if (append_line()) ++line_;
            continue;
        }
        break;
    }
    if (pos_ >= buf_.size()) return false;
    char c = buf_[pos_];
    return c != '\n' && c != '#' && c != ';';
}

bool statement_scanner::quoted(char quote, std::string* word, parse_error* error) {
    ++pos_;
    for (;;) {
        // The run up to the closing quote (or, in double quotes, a backslash).
        const char* from = buf_.data() + pos_;
        size_t left = buf_.size() - pos_;
        const char* stop = (const char*)memchr(from, quote, left);
        if (quote == '"') {
            const char* backslash = (const char*)memchr(from, '\\', stop ? (size_t)(stop - from) : left);
            if (backslash) stop = backslash;
        }
        size_t run = stop ? pos_ + (size_t)(stop - from) : buf_.size();
        word->append(buf_, pos_, run - pos_);
        pos_ = run;
        if (pos_ < buf_.size() && buf_[pos_] == quote) {
            ++pos_;
            return true;
        }
        if (pos_ + 1 < buf_.size()) {  // a backslash in double quotes escapes the next byte
            word->push_back(buf_[pos_ + 1]);
            pos_ += 2;
            continue;
        }
        // The quote goes on over the next line (a backslash left last escapes its first byte).
        if (!append_line()) break;
        ++line_;
    }
    // On the statement's first line, at the end of everything read up to the end of the text.
    error->reason = std::string("EOF with unterminated ") + quote;
    error->line = first_line_;
    error->byte = (int)buf_.size();
    pos_ = buf_.size();
    return false;
}

bool statement_scanner::read_word(std::string* word, parse_error* error) {
    word->clear();
    bool last_quoted = false;
    while (pos_ < buf_.size()) {
        size_t run = pos_;
        while (run < buf_.size() && !kUnquotedStops.has[(unsigned char)buf_[run]]) ++run;
        if (run > pos_) {
            word->append(buf_, pos_, run - pos_);
            pos_ = run;
            last_quoted = false;
            if (pos_ >= buf_.size()) break;
        }
        char c = buf_[pos_];
        switch (c) {
        case '\'':
        case '"':
            if (!quoted(c, word, error)) return false;
            last_quoted = true;
            continue;
        case ';':
            // Glued to the end of an unquoted piece, a ';' ends the word and
            // the rest of the line is ignored; after a quote it separates statements.
            if (!last_quoted) rest_ignored_ = true;
            return true;
        case '\\':
            if (pos_ + 1 < buf_.size() && buf_[pos_ + 1] == '\n') {
                // Joins the next line; a blank at its start ends the word.
                buf_.erase(pos_ + 1, 1);
                ++pos_;
                if (append_line()) ++line_;
            } else if (pos_ + 1 < buf_.size()) {
                word->push_back(buf_[pos_ + 1]);
                pos_ += 2;
                last_quoted = false;
            } else {
                ++pos_;
            }
            continue;
        default:  // a blank, the line end or a comment
            return true;
        }
    }
    return true;
}

int statement_scanner::byte_after_word() const {
    char c = peek();
    return (int)pos_ + (is_blank(c) || c == '\n' ? 1 : 0);
}

int statement_scanner::byte_after_statement() {
    if (rest_ignored_) return (int)buf_.size();
    more_words();
    char c = peek();
    if (c == '#') return (int)buf_.size();
    return (int)pos_ + (c == '\n' || c == ';' ? 1 : 0);
}

namespace {

// Builds packages from statements; one instance per text.
class statement_reader {
  public:
    statement_reader(const std::string& text, bool strict, std::vector<parse_error>* errors)
        : scan_(text), strict_(strict), errors_(errors) {}

    // With `out`, "package NAME" starts a new package in it; otherwise
    // everything goes into `single`.
    int run(package* single, std::vector<std::unique_ptr<package>>* out, const std::string& first_name);

  private:
    bool statement(parse_error* error);
    bool package_statement(parse_error* error);
    bool config_statement(parse_error* error);
    bool option_statement(bool list, int keyword_at, parse_error* error);
    // Reads the next word of the statement into `word`; false when there is none.
    bool next_word(std::string* word, bool* ok, parse_error* error);
    // Reads the next argument and checks it with `valid` (when given): false
    // with `error` filled for a quote left open or a word `valid` refuses.
    // `present` null: the argument is required (a missing one is refused).
    bool argument(std::string* word, bool* present, bool (*valid)(const std::string&), const char* reason,
                  parse_error* error);
    // Strict reading allows no further argument.
    bool no_more_arguments(parse_error* error);
    bool fail(parse_error* error, const char* reason, int byte) {
        error->reason = reason;
        error->line = scan_.line();
        error->byte = byte;
        return false;
    }

    statement_scanner scan_;
    bool strict_;
    std::vector<parse_error>* errors_;
    package* current_package_ = nullptr;
    section* current_section_ = nullptr;
    std::vector<std::unique_ptr<package>>* split_ = nullptr;
};

bool statement_reader::next_word(std::string* word, bool* ok, parse_error* error) {
    *ok = true;
    if (!scan_.more_words()) return false;
    *ok = scan_.read_word(word, error);
    return *ok;
}

bool statement_reader::argument(std::string* word, bool* present, bool (*valid)(const std::string&),
                                const char* reason, parse_error* error) {
    bool ok;
    bool found = next_word(word, &ok, error);
    if (!ok) return false;
    if (present) *present = found;
    if ((found || !present) && valid && !(found && valid(*word))) return fail(error, reason, scan_.byte_after_word());
    return true;
}

bool statement_reader::no_more_arguments(parse_error* error) {
    if (!strict_) return true;
    std::string extra;
    bool ok;
    if (next_word(&extra, &ok, error)) return fail(error, "too many arguments", scan_.byte_after_word());
    return ok;
}

bool statement_reader::statement(parse_error* error) {
    if (!scan_.more_words()) return true;
    int keyword_at = scan_.byte();
    std::string keyword;
    if (!scan_.read_word(&keyword, error)) return false;
    // A keyword ends only at a blank: "config" alone on its line is no command.
    bool ended = scan_.peek() == ' ' || scan_.peek() == '\t';
    auto is = [&](const char* full, size_t length) {
        return keyword.size() == 1 ? keyword[0] == full[0]
                                   : keyword.size() == length && memcmp(keyword.data(), full, length) == 0;
    };
    if (ended && keyword.size() == 7 && memcmp(keyword.data(), "package", 7) == 0) return package_statement(error);
    if (ended && is("config", 6)) return config_statement(error);
    bool list = is("list", 4);
    if (ended && (list || is("option", 6))) return option_statement(list, keyword_at, error);
    return fail(error, "invalid command", keyword_at);
}

bool statement_reader::package_statement(parse_error* error) {
    std::string name, extra;
    bool ok;
    bool named = next_word(&name, &ok, error);
    if (!ok) return false;
    while (next_word(&extra, &ok, error)) {
    }
    if (!ok) return false;
    if (!split_) return true;  // a package file names its package by its file name
    if (!named || !valid_package_name(name)) return fail(error, "invalid package name", scan_.byte_after_word());
    split_->push_back(std::make_unique<package>());
    current_package_ = split_->back().get();
    current_package_->name = name;
    current_section_ = nullptr;
    return true;
}

bool statement_reader::config_statement(parse_error* error) {
    std::string type, name;
    bool named = false;
    if (!argument(&type, nullptr, valid_type, "invalid character in type field", error) ||
        !argument(&name, &named, valid_name, "invalid character in name field", error) || !no_more_arguments(error))
        return false;
    if (!current_package_) return fail(error, "config found before any package", scan_.byte_after_statement());
    section* s = named ? current_package_->find(name) : nullptr;
    if (s && s->type != type) {
        if (strict_)
            return fail(error, "section of different type overwrites prior section with same name",
                        scan_.byte_after_statement());
        s->type = type;  // lenient reading: the later type wins
    }
    current_section_ = s ? s : current_package_->create(type, name);
    return true;
}

bool statement_reader::option_statement(bool list, int keyword_at, parse_error* error) {
    if (!current_section_) return fail(error, "option/list command found before the first section", keyword_at);
    std::string name, value;
    bool has_value = false;
    if (!argument(&name, nullptr, valid_name, "invalid character in name field", error) ||
        !argument(&value, &has_value, nullptr, nullptr, error) || !no_more_arguments(error))
        return false;

    std::vector<option>& options = current_section_->options;
    if (options.empty()) options.reserve(4);  // most sections have a few values
    option* o = current_section_->find(name);
    if (list) {
        if (!has_value) return true;
        if (!o) {
            options.push_back(option{std::move(name), true, "", {}});
            o = &options.back();
        } else if (!o->is_list) {  // a single value becomes the list's first item
            o->is_list = true;
            o->items.assign(1, std::move(o->value));
            o->value.clear();
        }
        o->items.push_back(std::move(value));
    } else if (value.empty()) {  // an option with an empty or missing value is absent
        if (o) options.erase(options.begin() + (o - options.data()));
    } else if (o) {
        o->is_list = false;
        o->items.clear();
        o->value = std::move(value);
    } else {
        options.push_back(option{std::move(name), false, std::move(value), {}});
    }
    return true;
}

int statement_reader::run(package* single, std::vector<std::unique_ptr<package>>* out,
                          const std::string& first_name) {
    split_ = out;
    if (single) {
        current_package_ = single;
    } else if (!first_name.empty()) {
        out->push_back(std::make_unique<package>());
        current_package_ = out->back().get();
        current_package_->name = first_name;
    }
    while (scan_.next_statement()) {
        parse_error error;
        if (statement(&error)) continue;
        if (errors_) errors_->push_back(error);
        if (strict_) return ERR_PARSE;
        scan_.skip_line();
    }
    return OK;
}

}  // namespace

int parse_package(const std::string& text, bool strict, package* out, std::vector<parse_error>* errors) {
    return statement_reader(text, strict, errors).run(out, nullptr, "");
}

int parse_packages(const std::string& text, const std::string& first_name, bool strict,
                   std::vector<std::unique_ptr<package>>* out, std::vector<parse_error>* errors) {
    return statement_reader(text, strict, errors).run(nullptr, out, first_name);
}

}  // namespace vuci
