// TestRegex.h: whole-text matching with POSIX extended regular expressions, and the groups.
//
//   std::vector<std::string> groups;
//   ASSERT_TRUE(FullMatch(line, "TT\\|([0-9]+): (.*)", &groups));   // groups[1], groups[2]
#pragma once

#include <regex.h>

#include <string>
#include <vector>

// FullMatch: true when pattern matches all of text; groups (when given) receive the whole
// match and each parenthesised group ("" for one that did not take part).
inline bool FullMatch(const std::string& text, const std::string& pattern, std::vector<std::string>* groups = nullptr) {
  regex_t regex;
  if (regcomp(&regex, ("^(" + pattern + ")$").c_str(), REG_EXTENDED) != 0) return false;
  std::vector<regmatch_t> matches(regex.re_nsub + 1);
  const bool matched = regexec(&regex, text.c_str(), matches.size(), matches.data(), 0) == 0;
  regfree(&regex);
  if (matched && groups != nullptr) {
    groups->clear();
    // Group 1 is the wrapper added above; the caller's groups follow it.
    for (size_t i = 0; i < matches.size(); ++i) {
      if (i == 1) continue;
      const regmatch_t& m = matches[i];
      groups->push_back(m.rm_so < 0 ? std::string() : text.substr(m.rm_so, m.rm_eo - m.rm_so));
    }
  }
  return matched;
}
