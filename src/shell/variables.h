// VariableStore: the script variables, read by $name substitution.
//
// A sorted map of strings with its own mutex, because the solver thread
// writes its timing values while commands run. Every operation takes the
// mutex for itself alone; no command empties the store.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "shell/tokenize.h"

class VariableStore {
 public:
  void Set(const std::string& key, const std::string& value);
  // Stores the value only if the key is absent.
  void SetDefault(const std::string& key, const std::string& value);
  std::optional<std::string> Get(const std::string& key) const;
  // Empties the store. No command does: the protocol never empties it. A
  // harness that runs many independent sessions in one process does.
  void Clear();
  // Calls visit for every entry in key order, holding the mutex throughout.
  void ForEach(const std::function<void(const std::string&, const std::string&)>& visit) const;

 private:
  mutable std::mutex mutex;
  std::map<std::string, std::string> values;
};

extern VariableStore Variables;

// Replaces every whole token "$name" whose name is in the store by its
// value; a line whose first token begins with "#" comes back unchanged.
Tokens SubstituteVariables(const Tokens& tokens);

// Applies one --var text "name=value"; false if it is not exactly two
// non-empty fields.
bool SetVariableFromOption(const std::string& text);
