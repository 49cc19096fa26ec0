// The import table of a loaded module: what it calls in other DLLs, and a way to put a function of the test's
// own in place of one of them. Every call that the module makes goes through the table, so the file under
// test is the one that ships:
//
//   ImportTable imports(dll.module());
//   const auto real = imports.replace("CreateEventA", &countingCreateEvent);
//
// What an object has replaced is put back when it goes; several objects may be there for one module, for
// different functions. Other modules, the test program among them, are not affected. No other thread may be
// inside the module while the table is changed.
#pragma once

#include <windows.h>
#include <string>
#include <vector>

class ImportTable {
 public:
  // Throws std::runtime_error when the module is none.
  explicit ImportTable(HMODULE module);
  ~ImportTable();
  ImportTable(const ImportTable&) = delete;
  ImportTable& operator=(const ImportTable&) = delete;

  // The names of all functions that the module imports, in the order of its table.
  std::vector<std::string> names() const;
  bool has(const std::string& name) const;

  // Puts a function of the same type in place of an imported one and gives the one that was there. Throws
  // std::runtime_error when the module does not import it.
  template <typename Function>
  Function* replace(const std::string& name, Function* replacement) {
    return reinterpret_cast<Function*>(replaceAddress(name, reinterpret_cast<void*>(replacement)));
  }

 private:
  struct Import {
    std::string name;
    void** slot;
    void* original;  // of an import that this object has replaced, otherwise null
  };

  static bool isNamed(const Import& import, const std::string& name) { return import.name == name; }
  void* replaceAddress(const std::string& name, void* replacement);

  std::vector<Import> imports_;
};
