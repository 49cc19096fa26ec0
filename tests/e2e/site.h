// The site that the browsers visit, as the tests know it. The run script starts it.
#pragma once

#include <string>
#include <vector>

namespace site {

// Without a slash at its end.
std::string address();

// The rows of the big table, cells parted by tabs, from the site's own text form of them.
std::vector<std::string> tableRows();

}  // namespace site
