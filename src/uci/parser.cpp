#include "parser.h"

#include <algorithm>

namespace vuci {

namespace {

// Which bytes stop a run of ordinary bytes, in each reading state.
struct byte_set {
    bool has[256] = {};
    byte_set(const char* bytes, size_t n) {
        for (size_t i = 0; i < n; ++i) has[(unsigned char)bytes[i]] = true;
    }
};
const byte_set kUnquoted(" \t\r\n#'\"\\", 9);  // and NUL
const byte_set kSingleQuoted("'\n", 3);
const byte_set kDoubleQuoted("\"\\\n", 4);

size_t scan_to(const std::string& text, size_t pos, const byte_set& stop) {
    while (pos < text.size() && !stop.has[(unsigned char)text[pos]]) ++pos;
    return pos;
}

}  // namespace

void word_scanner::newline_at(size_t newline_pos) {
    ++line_;
    line_start_ = newline_pos + 1;
}

bool word_scanner::more_words() {
    while (pos_ < text_.size() && (text_[pos_] == ' ' || text_[pos_] == '\t' || text_[pos_] == '\r')) ++pos_;
    if (pos_ >= text_.size()) return false;
    char c = text_[pos_];
    return c != '\n' && c != '#' && c != ';';
}

bool word_scanner::next_statement(bool whole_line) {
    if (!whole_line) {
        more_words();
        if (pos_ < text_.size() && text_[pos_] == ';') {
            ++pos_;
            return true;
        }
    }
    while (pos_ < text_.size() && text_[pos_] != '\n') ++pos_;
    if (pos_ < text_.size()) {
        newline_at(pos_);
        ++pos_;
    }
    return pos_ < text_.size();
}

bool word_scanner::quoted(char quote, std::string* word, parse_error* error) {
    size_t start = pos_;
    int start_line = line_;
    size_t start_line_begin = line_start_;
    for (++pos_; pos_ < text_.size(); ++pos_) {
        // Copy the run of ordinary bytes up to the next byte of interest at once.
        size_t run = scan_to(text_, pos_, quote == '"' ? kDoubleQuoted : kSingleQuoted);
        word->append(text_, pos_, run - pos_);
        pos_ = run;
        if (pos_ >= text_.size()) break;
        char c = text_[pos_];
        if (c == quote) {
            ++pos_;
            return true;
        }
        if (c == 0) break;
        if (c == '\\' && quote == '"') {
            if (++pos_ >= text_.size() || text_[pos_] == 0) break;
            c = text_[pos_];
        }
        if (c == '\n') newline_at(pos_);
        word->push_back(c);
    }
    // Report it on the line of the opening quote, and leave the scanner at
    // that line's end so that a lenient reader can go on from the next line.
    line_ = start_line;
    line_start_ = start_line_begin;
    pos_ = text_.find('\n', start);
    if (pos_ == std::string::npos) pos_ = text_.size();
    size_t nul = text_.find('\0', start);
    if (nul < pos_) pos_ = nul;
    error->reason = quote == '"' ? "unterminated \"" : "unterminated '";
    error->line = line_;
    error->byte = byte();
    return false;
}

bool word_scanner::read_word(std::string* word, parse_error* error) {
    word->clear();
    while (pos_ < text_.size()) {
        size_t run = scan_to(text_, pos_, kUnquoted);
        word->append(text_, pos_, run - pos_);
        pos_ = run;
        if (pos_ >= text_.size()) break;
        char c = text_[pos_];
        switch (c) {
        case ' ': case '\t': case '\r': case '\n': case '#':
            return true;
        case '\'': case '"':
            if (!quoted(c, word, error)) return false;
            continue;
        case '\\':
            if (pos_ + 1 < text_.size() && text_[pos_ + 1] != 0) {
                c = text_[++pos_];
                if (c == '\n') newline_at(pos_);
            }
            break;
        case 0:
            // A NUL cannot be stored in a value: treated as a quote left open.
            error->reason = "unterminated '";
            error->line = line_;
            error->byte = byte();
            return false;
        }
        word->push_back(c);
        ++pos_;
    }
    return true;
}

namespace {

// Builds packages from statements; one instance per text.
class statement_reader {
  public:
    statement_reader(const std::string& text, bool strict, std::vector<parse_error>* errors)
        : scan_(text), strict_(strict), errors_(errors) {}

    // `split`: "package NAME" starts a new package in `out`; otherwise
    // everything goes into `single`.
    int run(package* single, std::vector<std::unique_ptr<package>>* out, const std::string& first_name);

  private:
    bool statement(std::vector<std::string>* words, parse_error* error);
    bool apply(const std::vector<std::string>& words, parse_error* error);
    bool fail(parse_error* error, const char* reason) {
        error->reason = reason;
        error->line = scan_.line();
        error->byte = scan_.byte();
        return false;
    }

    word_scanner scan_;
    bool strict_;
    std::vector<parse_error>* errors_;
    package* current_package_ = nullptr;
    section* current_section_ = nullptr;
    std::vector<std::unique_ptr<package>>* split_ = nullptr;
};

bool statement_reader::statement(std::vector<std::string>* words, parse_error* error) {
    words->clear();
    std::string word;
    while (scan_.more_words()) {
        if (!scan_.read_word(&word, error)) return false;
        words->push_back(word);
    }
    return true;
}

bool statement_reader::apply(const std::vector<std::string>& w, parse_error* error) {
    const std::string& keyword = w[0];
    if (keyword == "package") {
        if (w.size() != 2 || !valid_package_name(w[1])) return fail(error, "invalid package name");
        if (split_) {
            split_->push_back(std::make_unique<package>());
            current_package_ = split_->back().get();
            current_package_->name = w[1];
            current_section_ = nullptr;
        }
        return true;
    }
    if (keyword == "config" || keyword == "c") {
        if (w.size() < 2 || !valid_type(w[1])) return fail(error, "invalid section type");
        if (w.size() > 3) return fail(error, "too many arguments");
        if (!current_package_) return fail(error, "config found before any package");
        std::string name = w.size() == 3 ? w[2] : std::string();
        if (w.size() == 3 && !valid_name(name)) return fail(error, "invalid character in name field");
        section* s = name.empty() ? nullptr : current_package_->find(name);
        if (s && s->type != w[1])
            return fail(error, "section of different type overwrites prior section with same name");
        current_section_ = s ? s : current_package_->create(w[1], name);
        return true;
    }
    bool list = keyword == "list" || keyword == "l";
    if (!list && keyword != "option" && keyword != "o") return fail(error, "invalid command");
    if (!current_section_) return fail(error, "option/list command found before the first section");
    if (w.size() < 2 || !valid_name(w[1])) return fail(error, "invalid character in name field");
    if (w.size() > 3) return fail(error, "too many arguments");
    if (w.size() == 2) {
        if (!list) current_section_->options.erase(
            std::remove_if(current_section_->options.begin(), current_section_->options.end(),
                           [&](const option& o) { return o.name == w[1]; }),
            current_section_->options.end());
        return true;
    }
    option* o = current_section_->find(w[1]);
    if (list && o && !o->is_list) {  // a list replaces an earlier single value
        o->is_list = true;
        o->value.clear();
        o->items.clear();
    }
    if (list) {
        if (o) o->items.push_back(w[2]);
        else current_section_->options.push_back(option{w[1], true, "", {w[2]}});
        return true;
    }
    change set{change_kind::set, current_section_->name, w[1], w[2]};
    apply_change(*current_package_, set, nullptr);
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
    std::vector<std::string> words;
    do {
        parse_error error;
        bool ok = statement(&words, &error) && (words.empty() || apply(words, &error));
        if (!ok) {
            if (errors_) errors_->push_back(error);
            if (strict_) return ERR_PARSE;
        }
        if (!scan_.next_statement(!ok)) break;
    } while (true);
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
