#include "channels/channel_arguments.h"

#include "base/text.h"

namespace {

const EncodableValue* Find(const EncodableMap& map, std::string_view key) {
  const auto found = map.find(EncodableValue(std::string(key)));
  return found == map.end() ? nullptr : &found->second;
}

template <typename T>
const T* FindAs(const EncodableMap& map, std::string_view key) {
  const EncodableValue* value = Find(map, key);
  return value ? std::get_if<T>(value) : nullptr;
}

}  // namespace

std::string GetString(const EncodableMap& map, std::string_view key) {
  const auto* text = FindAs<std::string>(map, key);
  return text ? *text : std::string();
}

std::u16string GetWideString(const EncodableMap& map, std::string_view key) {
  const auto* text = FindAs<std::string>(map, key);
  if (text == nullptr) return {};
  // The conversion is asked for the zero-terminated text, which ends at an embedded NUL.
  return Utf8ToWide(std::string_view(text->c_str()));
}

int32_t GetInt(const EncodableMap& map, std::string_view key, int32_t defaultValue) {
  const EncodableValue* value = Find(map, key);
  if (value == nullptr) return defaultValue;
  if (const auto* narrow = std::get_if<int32_t>(value)) return *narrow;
  // Modular since C++20: the low 32 bits, whatever the sign.
  if (const auto* wide = std::get_if<int64_t>(value)) return static_cast<int32_t>(*wide);
  return defaultValue;
}

int64_t GetInt64(const EncodableMap& map, std::string_view key, int64_t defaultValue) {
  const EncodableValue* value = Find(map, key);
  if (value == nullptr) return defaultValue;
  if (const auto* wide = std::get_if<int64_t>(value)) return *wide;
  if (const auto* narrow = std::get_if<int32_t>(value)) return *narrow;
  return defaultValue;
}

bool GetBool(const EncodableMap& map, std::string_view key, bool defaultValue) {
  const auto* value = FindAs<bool>(map, key);
  return value ? *value : defaultValue;
}
