#include "shell/variables.h"

VariableStore Variables;

void VariableStore::Set(const std::string& key, const std::string& value) {
  std::lock_guard<std::mutex> lock(mutex);
  values[key] = value;
}

void VariableStore::SetDefault(const std::string& key, const std::string& value) {
  std::lock_guard<std::mutex> lock(mutex);
  values.try_emplace(key, value);
}

std::optional<std::string> VariableStore::Get(const std::string& key) const {
  std::lock_guard<std::mutex> lock(mutex);
  auto it = values.find(key);
  if (it == values.end()) return std::nullopt;
  return it->second;
}

void VariableStore::Clear() {
  std::lock_guard<std::mutex> lock(mutex);
  values.clear();
}

void VariableStore::ForEach(const std::function<void(const std::string&, const std::string&)>& visit) const {
  std::lock_guard<std::mutex> lock(mutex);
  for (const auto& [key, value] : values) visit(key, value);
}

Tokens SubstituteVariables(const Tokens& tokens) {
  if (tokens.empty() || tokens[0][0] == '#') return tokens;
  Tokens result = tokens;
  for (std::string& token : result) {
    if (token.size() < 2 || token[0] != '$') continue;
    if (auto value = Variables.Get(token.substr(1))) token = *value;
  }
  return result;
}

bool SetVariableFromOption(const std::string& text) {
  // Split at each "=" as a stream of fields; a trailing empty field is not
  // a field, so "a=1=" has two fields but "a==1" has an empty one.
  std::vector<std::string> fields;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('=', start);
    if (end == std::string::npos) end = text.size();
    fields.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  if (fields.size() != 2 || fields[0].empty() || fields[1].empty()) return false;
  Variables.Set(fields[0], fields[1]);
  return true;
}
