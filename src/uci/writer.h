// Writing packages in the form commits leave on disk and "export" prints.
#pragma once

#include "model.h"

#include <string>

namespace vuci {

// A value in single quotes, each ' inside written as '\''.
std::string quote_value(const std::string& value);

// The package text: a blank line before each section, "config TYPE 'NAME'"
// (anonymous sections without their name unless `name_anonymous`), a line
// per option or list item ("\toption NAME 'VALUE'"), and a final blank
// line. `header` puts "package NAME" first, as export does.
std::string write_package(const package& p, bool header, bool name_anonymous);

}  // namespace vuci
