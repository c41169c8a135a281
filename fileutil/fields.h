// SPDX-License-Identifier: MIT
// Fields: the named values a box or descriptor shows of itself, in order, for
// the box dump of the vane tool and for tests. Plain data, no behaviour.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace fileutil {

struct Field {
  using Value = std::variant<std::uint64_t, std::int64_t, double, std::string, std::vector<std::string>>;
  std::string name;
  Value value;
};

class Fields {
 public:
  Fields& add(std::string name, std::uint64_t v) { return put(std::move(name), Field::Value(v)); }
  Fields& add(std::string name, std::uint32_t v) { return put(std::move(name), Field::Value(std::uint64_t(v))); }
  Fields& add(std::string name, int v) { return put(std::move(name), Field::Value(std::int64_t(v))); }
  Fields& add(std::string name, std::int64_t v) { return put(std::move(name), Field::Value(v)); }
  Fields& add(std::string name, double v) { return put(std::move(name), Field::Value(v)); }
  Fields& add(std::string name, std::string v) { return put(std::move(name), Field::Value(std::move(v))); }
  Fields& add(std::string name, const char* v) { return put(std::move(name), Field::Value(std::string(v))); }
  Fields& add(std::string name, std::vector<std::string> v) { return put(std::move(name), Field::Value(std::move(v))); }

  const std::vector<Field>& list() const { return m_fields; }
  // The field of that name, or null.
  const Field::Value* find(const std::string& name) const {
    for (const Field& f : m_fields)
      if (f.name == name) return &f.value;
    return nullptr;
  }

 private:
  Fields& put(std::string name, Field::Value v) {
    m_fields.push_back(Field{std::move(name), std::move(v)});
    return *this;
  }
  std::vector<Field> m_fields;
};

}  // namespace fileutil
