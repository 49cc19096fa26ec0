// The site that the browsers visit, as the tests know it: where it is, what it answers, and what a form's
// result has to be. The run script starts it.
#pragma once

#include <string>
#include <vector>

namespace site {

// Without a slash at its end.
std::string address();

// What the site answers to a plain request, read without a browser.
std::string fetch(const std::string& path);

// The rows of the big table, cells parted by tabs, from the site's own text form of them.
std::vector<std::string> tableRows();

// What the order form makes of its fields.
std::string orderChecksum(const std::string& customer, const std::string& city, const std::string& size,
                          const std::string& count);

}  // namespace site
