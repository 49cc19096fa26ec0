// A host's locale for the time of a test: numbers with a decimal comma and grouped digits, in C++ streams
// always, in the C run-time wherever the machine has such a locale.
#pragma once

#include <clocale>
#include <locale>
#include <string>

class ForeignLocale {
 public:
  ForeignLocale()
      : previousStreams_(std::locale::global(std::locale(std::locale::classic(), new CommaNumbers))),
        previousRunTime_(std::setlocale(LC_ALL, nullptr)) {
    for (const char* name :
         {"de_DE.UTF-8", "de_DE.utf8", "de_DE", "German_Germany.1252", "German", "fr_FR.UTF-8"}) {
      if (std::setlocale(LC_ALL, name) != nullptr) {
        break;
      }
    }
  }
  ~ForeignLocale() {
    std::locale::global(previousStreams_);
    std::setlocale(LC_ALL, previousRunTime_.c_str());
  }
  ForeignLocale(const ForeignLocale&) = delete;
  ForeignLocale& operator=(const ForeignLocale&) = delete;

  // Whether the C run-time took part.
  static bool runTimeHasComma() { return *std::localeconv()->decimal_point == ','; }

 private:
  class CommaNumbers : public std::numpunct<char> {
   protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };

  std::locale previousStreams_;
  std::string previousRunTime_;
};
