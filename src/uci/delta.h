// Delta files: the pending changes of one package, one line per change,
// appended and never merged ("pkg.sec.opt='value'", "+pkg.sec='type'",
// "-pkg.sec.opt", "@pkg.sec='name'", "^pkg.sec='1'", "|pkg.sec.opt='item'",
// "~pkg.sec.opt='item'").
#pragma once

#include "model.h"

#include <string>
#include <vector>

namespace vuci {

// One delta line of a change of package `package_name`, with its line end.
std::string format_change(const std::string& package_name, const change& c);

// The changes of `package_name` in a delta text. Malformed lines and lines
// of other packages are skipped; values may be quoted either way or bare.
std::vector<change> parse_delta(const std::string& text, const std::string& package_name);

}  // namespace vuci
