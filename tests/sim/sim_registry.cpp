#include "sim_registry.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>

#include "base/text.h"
#include "sim_core.h"

namespace sim {

namespace {

using platform::RegistryKey;

constexpr std::size_t kMaxKeyNameUnits = 256;
constexpr std::uint32_t kViewBits = platform::kKeyWow6464Key | platform::kKeyWow6432Key;
constexpr std::uint32_t kAllAccess = 0xFFFFFFFF;

// Wine folds with the whole Unicode case table; these are the scripts that tests write.
char16_t FoldUnit(char16_t c) {
  if (c >= u'A' && c <= u'Z') return static_cast<char16_t>(c + 0x20);
  if (c >= 0x00C0 && c <= 0x00DE && c != 0x00D7) return static_cast<char16_t>(c + 0x20);
  if (c >= 0x0391 && c <= 0x03AB && c != 0x03A2) return static_cast<char16_t>(c + 0x20);
  if (c >= 0x0410 && c <= 0x042F) return static_cast<char16_t>(c + 0x20);
  if (c >= 0x0400 && c <= 0x040F) return static_cast<char16_t>(c + 0x50);
  return c;
}

int CompareNames(std::u16string_view a, std::u16string_view b) {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    const char16_t x = FoldUnit(a[i]);
    const char16_t y = FoldUnit(b[i]);
    if (x != y) return x < y ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

bool SameName(std::u16string_view a, std::u16string_view b) { return CompareNames(a, b) == 0; }

bool IsStringType(std::uint32_t type) {
  return type == platform::kRegSz || type == platform::kRegExpandSz ||
         type == platform::kRegMultiSz;
}

struct Value {
  std::u16string name;
  std::uint32_t type = 0;
  std::vector<std::uint8_t> data;
};

struct Node {
  std::u16string name;
  std::u16string path;  // from the hive's short name, for the journal and scripted failures
  std::vector<std::shared_ptr<Node>> children;  // in enumeration order
  std::vector<Value> values;
  std::uint32_t denied = 0;
  bool deleted = false;

  std::shared_ptr<Node> Child(std::u16string_view childName) const {
    for (const auto& child : children) {
      if (SameName(child->name, childName)) return child;
    }
    return nullptr;
  }

  std::shared_ptr<Node> AddChild(std::u16string_view childName) {
    auto child = std::make_shared<Node>();
    child->name = std::u16string(childName);
    child->path = path + u"\\" + child->name;
    const auto place = std::find_if(children.begin(), children.end(), [&](const auto& other) {
      return CompareNames(other->name, childName) > 0;
    });
    children.insert(place, child);
    return child;
  }

  Value* FindValue(std::u16string_view valueName) {
    for (auto& value : values) {
      if (SameName(value.name, valueName)) return &value;
    }
    return nullptr;
  }
};

void MarkDeleted(Node& node) {
  node.deleted = true;
  for (const auto& child : node.children) MarkDeleted(*child);
}

struct Hive {
  std::int32_t number;
  const char16_t* shortName;
};
constexpr Hive kHives[] = {
    {static_cast<std::int32_t>(0x80000000), u"HKCR"},
    {static_cast<std::int32_t>(0x80000001), u"HKCU"},
    {static_cast<std::int32_t>(0x80000002), u"HKLM"},
    {static_cast<std::int32_t>(0x80000003), u"HKU"},
    {static_cast<std::int32_t>(0x80000005), u"HKCC"},
};

struct OpenKey {
  std::shared_ptr<Node> node;
  std::uint32_t access = 0;
};

struct State {
  std::mutex lock;
  std::map<RegistryKey, std::shared_ptr<Node>> hives;
  std::map<RegistryKey, OpenKey> handles;
  std::uintptr_t nextHandle = 0x1000;
  std::vector<RegistryFailure> failures;
  std::vector<RegistryWrite> writes;
  std::vector<std::pair<std::u16string, std::u16string>> variables;
  int invalidUses = 0;

  State() { Reset(); }

  void Reset() {
    hives.clear();
    for (const Hive& hive : kHives) {
      auto node = std::make_shared<Node>();
      node->name = hive.shortName;
      node->path = hive.shortName;
      hives[platform::PredefinedRegistryKey(hive.number)] = node;
    }
    const auto machine = hives[platform::kHkeyLocalMachine];
    machine->AddChild(u"SOFTWARE")->AddChild(u"WOW6432Node");
    machine->AddChild(u"SYSTEM");
    hives[platform::kHkeyCurrentUser]->AddChild(u"Software");
    handles.clear();
    failures.clear();
    writes.clear();
    variables.clear();
    invalidUses = 0;
  }
};

State& S() {
  static State state;
  return state;
}

void ResetRegistry() {
  const std::lock_guard guard(S().lock);
  S().Reset();
}

[[maybe_unused]] const bool registered = OnReset(&ResetRegistry);

std::shared_ptr<Node> HiveOf(State& s, RegistryKey root) {
  const auto found = s.hives.find(root);
  if (found == s.hives.end()) {
    std::fprintf(stderr, "sim_registry: a fixture names %p, which is no predefined key\n",
                 static_cast<void*>(root));
    std::abort();
  }
  return found->second;
}

// What a handle stands for; nullopt (and one invalid use) for a handle that is not open.
struct Target {
  std::shared_ptr<Node> node;
  std::uint32_t access = 0;
  bool predefined = false;
};
std::optional<Target> Lookup(State& s, RegistryKey key) {
  if (const auto hive = s.hives.find(key); hive != s.hives.end()) {
    return Target{hive->second, kAllAccess, true};
  }
  if (const auto open = s.handles.find(key); open != s.handles.end()) {
    return Target{open->second.node, open->second.access, false};
  }
  ++s.invalidUses;
  return std::nullopt;
}

RegistryKey NewHandle(State& s, std::shared_ptr<Node> node, std::uint32_t access) {
  // A handle is a number that means nothing outside this table, as on Windows.
  const auto key =
      reinterpret_cast<RegistryKey>(s.nextHandle);  // NOLINT(performance-no-int-to-ptr)
  s.nextHandle += 4;
  s.handles[key] = OpenKey{std::move(node), access & ~kViewBits};
  return key;
}

struct SplitPath {
  long status = platform::kErrorSuccess;
  std::vector<std::u16string> parts;
};
SplitPath Split(std::u16string_view path) {
  path = path.substr(0, path.find(u'\0'));
  SplitPath split;
  if (!path.empty() && path.front() == u'\\') {
    split.status = platform::kErrorBadPathname;
    return split;
  }
  std::size_t start = 0;
  while (start <= path.size()) {
    const std::size_t end = std::min(path.find(u'\\', start), path.size());
    if (end > start) {
      if (end - start > kMaxKeyNameUnits) {
        split.status = platform::kErrorInvalidParameter;
        return split;
      }
      split.parts.emplace_back(path.substr(start, end - start));
    }
    start = end + 1;
  }
  return split;
}

// The 32-bit view of a path through HKLM\SOFTWARE is the same path through its WOW6432Node.
std::vector<std::u16string> InView(State& s, const Node& start, std::vector<std::u16string> parts,
                                   bool view32) {
  if (!view32 || &start != s.hives[platform::kHkeyLocalMachine].get() || parts.empty() ||
      !SameName(parts[0], u"SOFTWARE")) {
    return parts;
  }
  if (parts.size() > 1 && SameName(parts[1], u"WOW6432Node")) return parts;
  parts.insert(parts.begin() + 1, u"WOW6432Node");
  return parts;
}

std::u16string JoinPath(const Node& start, const std::vector<std::u16string>& parts) {
  std::u16string path = start.path;
  for (const auto& part : parts) path += u"\\" + part;
  return path;
}

std::shared_ptr<Node> FindPath(std::shared_ptr<Node> node,
                               const std::vector<std::u16string>& parts) {
  for (const auto& part : parts) {
    if (!node) return nullptr;
    node = node->Child(part);
  }
  return node;
}

void JournalWrite(State& s, RegistryWrite write) {
  std::u16string entry;
  switch (write.call) {
    case RegistryCall::kRegSetValueExW:
      entry = u"RegSetValueExW " + write.keyPath + u" " + write.valueName;
      break;
    case RegistryCall::kRegCreateKeyExW:
      entry = u"RegCreateKeyExW " + write.keyPath;
      break;
    default:
      entry = u"RegDeleteTreeW " + write.keyPath;
      break;
  }
  Record(WideToUtf8(entry));
  s.writes.push_back(std::move(write));
}

std::optional<long> Scripted(State& s, RegistryCall call, std::u16string_view keyPath,
                             std::u16string_view valueName = {}) {
  for (auto& failure : s.failures) {
    if (failure.call != call || failure.times == 0) continue;
    if (!failure.keyPath.empty() && !SameName(failure.keyPath, keyPath)) continue;
    if (!failure.valueName.empty() && !SameName(failure.valueName, valueName)) continue;
    if (failure.skip > 0) {
      --failure.skip;
      continue;
    }
    if (failure.times > 0) --failure.times;
    return failure.status;
  }
  return std::nullopt;
}

// The unit that ends `size` bytes, or the lone byte of a one-byte value: Wine looks at the unit
// just before the end, which for one byte reaches before the buffer.
bool LastUnitIsZero(const std::uint8_t* data, std::uint32_t size) {
  if (size >= 2) return data[size - 2] == 0 && data[size - 1] == 0;
  return data[0] == 0;
}

long QueryLocked(Node& node, std::uint32_t access, std::u16string_view valueName,
                 std::uint32_t* type, void* data, std::uint32_t* dataSize) {
  if (node.deleted) return platform::kErrorKeyDeleted;
  if (!(access & platform::kKeyQueryValue)) return platform::kErrorAccessDenied;
  const Value* value = node.FindValue(valueName.substr(0, valueName.find(u'\0')));
  if (!value) {
    // Wine clears the size first when there is no buffer.
    if (!data && dataSize) *dataSize = 0;
    return platform::kErrorFileNotFound;
  }
  const auto size = static_cast<std::uint32_t>(value->data.size());
  if (type) *type = value->type;
  if (!data) {
    if (dataSize) *dataSize = size;
    return platform::kErrorSuccess;
  }
  const std::uint32_t capacity = *dataSize;
  *dataSize = size;
  if (size > capacity) return platform::kErrorMoreData;
  auto* bytes = static_cast<std::uint8_t*>(data);
  if (size > 0) std::memcpy(bytes, value->data.data(), size);
  // Windows ends a string stored without its terminator when the buffer has room for one.
  if (IsStringType(value->type) && size > 0 && size + 2 <= capacity &&
      !LastUnitIsZero(bytes, size)) {
    bytes[size] = 0;
    bytes[size + 1] = 0;
  }
  return platform::kErrorSuccess;
}

std::u16string Expand(const State& s, std::u16string_view text) {
  std::u16string out;
  std::size_t i = 0;
  while (i < text.size()) {
    const std::size_t open = text.find(u'%', i);
    if (open == std::u16string_view::npos) {
      out.append(text.substr(i));
      break;
    }
    out.append(text.substr(i, open - i));
    const std::size_t close = text.find(u'%', open + 1);
    if (close == std::u16string_view::npos) {
      out.append(text.substr(open));
      break;
    }
    const std::u16string_view name = text.substr(open + 1, close - open - 1);
    const auto variable =
        std::find_if(s.variables.begin(), s.variables.end(),
                     [&](const auto& entry) { return SameName(entry.first, name); });
    if (!name.empty() && variable != s.variables.end()) {
      out.append(variable->second);
      i = close + 1;
    } else {
      // The closing '%' may open the next name.
      out.append(text.substr(open, close - open));
      i = close;
    }
  }
  return out;
}

std::uint32_t TypeFlag(std::uint32_t type) {
  switch (type) {
    case platform::kRegNone:
      return platform::kRrfRtRegNone;
    case platform::kRegSz:
      return platform::kRrfRtRegSz;
    case platform::kRegExpandSz:
      return platform::kRrfRtRegExpandSz;
    case platform::kRegBinary:
      return platform::kRrfRtRegBinary;
    case platform::kRegDword:
      return platform::kRrfRtRegDword;
    case platform::kRegMultiSz:
      return platform::kRrfRtRegMultiSz;
    case platform::kRegQword:
      return platform::kRrfRtRegQword;
    default:
      return 0;  // the other types pass no restriction, not even kRrfRtAny
  }
}

std::shared_ptr<Node> FixtureKey(State& s, RegistryKey root, std::u16string_view path,
                                 RegistryView view, bool make) {
  const auto hive = HiveOf(s, root);
  const auto parts = InView(s, *hive, Split(path).parts, view == RegistryView::k32);
  auto node = hive;
  for (const auto& part : parts) {
    auto child = node->Child(part);
    if (!child) {
      if (!make) return nullptr;
      child = node->AddChild(part);
    }
    node = child;
  }
  return node;
}

}  // namespace

// ---- Fixtures ----

void CreateRegistryKey(RegistryKey root, std::u16string_view path, RegistryView view) {
  const std::lock_guard guard(S().lock);
  FixtureKey(S(), root, path, view, true);
}

void SetRegistryValue(RegistryKey root, std::u16string_view path, std::u16string_view name,
                      std::uint32_t type, std::vector<std::uint8_t> data, RegistryView view) {
  const std::lock_guard guard(S().lock);
  const auto node = FixtureKey(S(), root, path, view, true);
  if (Value* value = node->FindValue(name)) {
    value->type = type;
    value->data = std::move(data);
  } else {
    node->values.push_back(Value{std::u16string(name), type, std::move(data)});
  }
}

void SetRegistryString(RegistryKey root, std::u16string_view path, std::u16string_view name,
                       std::u16string_view text, std::uint32_t type, RegistryView view) {
  std::vector<std::uint8_t> data((text.size() + 1) * 2, 0);
  if (!text.empty()) std::memcpy(data.data(), text.data(), text.size() * 2);
  SetRegistryValue(root, path, name, type, std::move(data), view);
}

void SetRegistryDword(RegistryKey root, std::u16string_view path, std::u16string_view name,
                      std::uint32_t value, RegistryView view) {
  std::vector<std::uint8_t> data(4);
  for (int i = 0; i < 4; ++i) data[i] = static_cast<std::uint8_t>(value >> (8 * i));
  SetRegistryValue(root, path, name, platform::kRegDword, std::move(data), view);
}

void DeleteRegistryKey(RegistryKey root, std::u16string_view path, RegistryView view) {
  const std::lock_guard guard(S().lock);
  const auto hive = HiveOf(S(), root);
  const auto parts = InView(S(), *hive, Split(path).parts, view == RegistryView::k32);
  if (parts.empty()) return;
  const auto parent = FindPath(hive, {parts.begin(), parts.end() - 1});
  if (!parent) return;
  auto& children = parent->children;
  const auto found = std::find_if(children.begin(), children.end(), [&](const auto& child) {
    return SameName(child->name, parts.back());
  });
  if (found == children.end()) return;
  MarkDeleted(**found);
  children.erase(found);
}

bool RegistryKeyExists(RegistryKey root, std::u16string_view path, RegistryView view) {
  const std::lock_guard guard(S().lock);
  return FixtureKey(S(), root, path, view, false) != nullptr;
}

std::optional<StoredValue> RegistryValue(RegistryKey root, std::u16string_view path,
                                         std::u16string_view name, RegistryView view) {
  const std::lock_guard guard(S().lock);
  const auto node = FixtureKey(S(), root, path, view, false);
  if (!node) return std::nullopt;
  const Value* value = node->FindValue(name);
  if (!value) return std::nullopt;
  return StoredValue{value->type, value->data};
}

void DenyRegistryAccess(RegistryKey root, std::u16string_view path, std::uint32_t deniedAccess,
                        RegistryView view) {
  const std::lock_guard guard(S().lock);
  FixtureKey(S(), root, path, view, true)->denied |= deniedAccess & ~kViewBits;
}

void FailRegistryCall(RegistryFailure failure) {
  const std::lock_guard guard(S().lock);
  S().failures.push_back(std::move(failure));
}

std::vector<RegistryWrite> RegistryWrites() {
  const std::lock_guard guard(S().lock);
  return S().writes;
}

std::size_t OpenRegistryKeyCount() {
  const std::lock_guard guard(S().lock);
  return S().handles.size();
}

int InvalidRegistryKeyUses() {
  const std::lock_guard guard(S().lock);
  return S().invalidUses;
}

void SetExpansionVariable(std::u16string_view name, std::u16string_view value) {
  const std::lock_guard guard(S().lock);
  auto& variables = S().variables;
  const auto found = std::find_if(variables.begin(), variables.end(),
                                  [&](const auto& entry) { return SameName(entry.first, name); });
  if (found != variables.end()) {
    found->second = std::u16string(value);
  } else {
    variables.emplace_back(std::u16string(name), std::u16string(value));
  }
}

}  // namespace sim

// ---- The seam ----

namespace platform {

using sim::RegistryCall;

long RegOpenKeyExW(RegistryKey key, std::u16string_view subKey, std::uint32_t /*options*/,
                   std::uint32_t access, RegistryKey* result) {
  auto& s = sim::S();
  const std::lock_guard guard(s.lock);
  if (!result) return kErrorInvalidParameter;
  *result = nullptr;
  const auto target = sim::Lookup(s, key);
  if (!target) return kErrorInvalidHandle;
  if (target->node->deleted) return kErrorKeyDeleted;
  auto split = sim::Split(subKey);
  if (split.status != kErrorSuccess) return split.status;
  const auto parts =
      sim::InView(s, *target->node, std::move(split.parts), (access & kKeyWow6432Key) != 0);
  if (const auto failure =
          sim::Scripted(s, RegistryCall::kRegOpenKeyExW, sim::JoinPath(*target->node, parts))) {
    return *failure;
  }
  if (parts.empty() && target->predefined) {
    *result = key;
    return kErrorSuccess;
  }
  const auto node = sim::FindPath(target->node, parts);
  if (!node) return kErrorFileNotFound;
  if (node->denied & access) return kErrorAccessDenied;
  *result = sim::NewHandle(s, node, access);
  return kErrorSuccess;
}

long RegCreateKeyExW(RegistryKey key, std::u16string_view subKey, std::uint32_t /*options*/,
                     std::uint32_t access, RegistryKey* result, std::uint32_t* disposition) {
  auto& s = sim::S();
  const std::lock_guard guard(s.lock);
  if (!result) return kErrorInvalidParameter;
  *result = nullptr;
  const auto target = sim::Lookup(s, key);
  if (!target) return kErrorInvalidHandle;
  if (target->node->deleted) return kErrorKeyDeleted;
  auto split = sim::Split(subKey);
  if (split.status != kErrorSuccess) return split.status;
  const auto parts =
      sim::InView(s, *target->node, std::move(split.parts), (access & kKeyWow6432Key) != 0);
  if (const auto failure =
          sim::Scripted(s, RegistryCall::kRegCreateKeyExW, sim::JoinPath(*target->node, parts))) {
    return *failure;
  }
  auto node = target->node;
  bool made = false;
  for (const auto& part : parts) {
    auto child = node->Child(part);
    if (!child) {
      if (node->denied & kKeyCreateSubKey) return kErrorAccessDenied;
      child = node->AddChild(part);
      sim::JournalWrite(s, {RegistryCall::kRegCreateKeyExW, child->path, {}, 0, {}});
      made = true;
    }
    node = child;
  }
  if (!made && (node->denied & access)) return kErrorAccessDenied;
  if (disposition) *disposition = made ? kRegCreatedNewKey : kRegOpenedExistingKey;
  *result = sim::NewHandle(s, node, access);
  return kErrorSuccess;
}

long RegQueryValueExW(RegistryKey key, std::u16string_view valueName, std::uint32_t* type,
                      void* data, std::uint32_t* dataSize) {
  auto& s = sim::S();
  const std::lock_guard guard(s.lock);
  if (data && !dataSize) return kErrorInvalidParameter;
  const auto target = sim::Lookup(s, key);
  if (!target) return kErrorInvalidHandle;
  if (const auto failure =
          sim::Scripted(s, RegistryCall::kRegQueryValueExW, target->node->path, valueName)) {
    return *failure;
  }
  return sim::QueryLocked(*target->node, target->access, valueName, type, data, dataSize);
}

long RegGetValueW(RegistryKey key, std::u16string_view subKey, std::u16string_view valueName,
                  std::uint32_t flags, std::uint32_t* type, void* data, std::uint32_t* dataSize) {
  auto& s = sim::S();
  const std::lock_guard guard(s.lock);
  if (data && !dataSize) return kErrorInvalidParameter;
  if ((flags & kRrfRtRegExpandSz) && !(flags & kRrfNoExpand) && (flags & kRrfRtAny) != kRrfRtAny) {
    return kErrorInvalidParameter;
  }
  const std::uint32_t views = kRrfSubkeyWow6464Key | kRrfSubkeyWow6432Key;
  if ((flags & views) == views) return kErrorInvalidParameter;
  const auto target = sim::Lookup(s, key);
  if (!target) return kErrorInvalidHandle;
  if (target->node->deleted) return kErrorKeyDeleted;

  // The subkey is opened for kKeyQueryValue in the view that the flags ask for.
  auto node = target->node;
  std::uint32_t access = target->access;
  subKey = subKey.substr(0, subKey.find(u'\0'));
  if (!subKey.empty()) {
    auto split = sim::Split(subKey);
    if (split.status != kErrorSuccess) return split.status;
    const auto parts =
        sim::InView(s, *node, std::move(split.parts), (flags & kRrfSubkeyWow6432Key) != 0);
    node = sim::FindPath(node, parts);
    if (!node) return kErrorFileNotFound;
    if (node->denied & kKeyQueryValue) return kErrorAccessDenied;
    access = kKeyQueryValue;
  }
  if (const auto failure = sim::Scripted(s, RegistryCall::kRegGetValueW, node->path, valueName)) {
    return *failure;
  }

  const std::uint32_t capacity = (data && dataSize) ? *dataSize : 0;
  std::uint32_t valueType = kRegNone;
  std::uint32_t size = capacity;
  long status = sim::QueryLocked(*node, access, valueName, &valueType, data, &size);

  if (valueType == kRegExpandSz && !(flags & kRrfNoExpand) &&
      (status == kErrorSuccess || status == kErrorMoreData)) {
    const sim::Value* value = node->FindValue(valueName.substr(0, valueName.find(u'\0')));
    std::u16string text(value->data.size() / 2, u'\0');
    if (!text.empty()) std::memcpy(text.data(), value->data.data(), text.size() * 2);
    text.resize(std::min(text.size(), text.find(u'\0')));
    const std::u16string expanded = sim::Expand(s, text);
    valueType = kRegSz;
    size = static_cast<std::uint32_t>((expanded.size() + 1) * 2);
    if (!data) {
      status = kErrorSuccess;
    } else if (size > capacity) {
      status = kErrorMoreData;
    } else {
      std::memcpy(data, expanded.c_str(), size);
      status = kErrorSuccess;
    }
  }

  if (status == kErrorSuccess || status == kErrorMoreData) {
    const std::uint32_t allowed = sim::TypeFlag(valueType);
    if (!(flags & allowed)) {
      status = kErrorUnsupportedType;
    } else if (valueType == kRegBinary) {
      const std::uint32_t restriction = flags & kRrfRtAny;
      if ((restriction == kRrfRtDword && size != 4) || (restriction == kRrfRtQword && size != 8)) {
        status = kErrorDatatypeMismatch;
      }
    }
  }
  if (data && status != kErrorSuccess && (flags & kRrfZeroOnFailure)) {
    std::memset(data, 0, capacity);
  }
  if (type) *type = valueType;
  if (dataSize) *dataSize = size;
  return status;
}

long RegEnumKeyExW(RegistryKey key, std::uint32_t index, char16_t* name, std::uint32_t* nameSize) {
  auto& s = sim::S();
  const std::lock_guard guard(s.lock);
  // Windows faults on these; the simulation refuses them.
  if (!name || !nameSize) return kErrorInvalidParameter;
  const auto target = sim::Lookup(s, key);
  if (!target) return kErrorInvalidHandle;
  if (const auto failure = sim::Scripted(s, RegistryCall::kRegEnumKeyExW, target->node->path)) {
    return *failure;
  }
  const auto& node = *target->node;
  if (node.deleted) return kErrorKeyDeleted;
  if (!(target->access & kKeyEnumerateSubKeys)) return kErrorAccessDenied;
  if (index >= node.children.size()) return kErrorNoMoreItems;
  const std::u16string& childName = node.children[index]->name;
  if (childName.size() >= *nameSize) return kErrorMoreData;
  std::copy(childName.begin(), childName.end(), name);
  name[childName.size()] = u'\0';
  *nameSize = static_cast<std::uint32_t>(childName.size());
  return kErrorSuccess;
}

long RegSetValueExW(RegistryKey key, std::u16string_view valueName, std::uint32_t type,
                    const void* data, std::uint32_t dataSize) {
  auto& s = sim::S();
  const std::lock_guard guard(s.lock);
  if (!data && dataSize > 0) return kErrorNoAccess;
  const auto target = sim::Lookup(s, key);
  if (!target) return kErrorInvalidHandle;
  valueName = valueName.substr(0, valueName.find(u'\0'));
  if (const auto failure =
          sim::Scripted(s, RegistryCall::kRegSetValueExW, target->node->path, valueName)) {
    return *failure;
  }
  auto& node = *target->node;
  if (node.deleted) return kErrorKeyDeleted;
  if (!(target->access & kKeySetValue)) return kErrorAccessDenied;
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  // Windows counts in a terminator that the caller's count left out, when it follows in memory.
  if (sim::IsStringType(type) && dataSize >= 2) {
    const std::size_t units = dataSize / 2;
    const bool lastIsZero = bytes[2 * units - 2] == 0 && bytes[2 * units - 1] == 0;
    const bool nextIsZero = bytes[2 * units] == 0 && bytes[2 * units + 1] == 0;
    if (!lastIsZero && nextIsZero) dataSize += 2;
  }
  std::vector<std::uint8_t> stored(bytes, bytes + dataSize);
  if (sim::Value* value = node.FindValue(valueName)) {
    value->type = type;
    value->data = stored;
  } else {
    node.values.push_back(sim::Value{std::u16string(valueName), type, stored});
  }
  sim::JournalWrite(s, {RegistryCall::kRegSetValueExW, node.path, std::u16string(valueName), type,
                        std::move(stored)});
  return kErrorSuccess;
}

long RegDeleteTreeW(RegistryKey key, std::u16string_view subKey) {
  auto& s = sim::S();
  const std::lock_guard guard(s.lock);
  const auto target = sim::Lookup(s, key);
  if (!target) return kErrorInvalidHandle;
  if (target->node->deleted) return kErrorKeyDeleted;
  auto split = sim::Split(subKey);
  if (split.status != kErrorSuccess) return split.status;
  const auto path = sim::JoinPath(*target->node, split.parts);
  if (const auto failure = sim::Scripted(s, RegistryCall::kRegDeleteTreeW, path)) return *failure;
  if (split.parts.empty()) {
    auto& node = *target->node;
    for (const auto& child : node.children) sim::MarkDeleted(*child);
    node.children.clear();
    node.values.clear();
  } else {
    const std::vector<std::u16string> parentParts(split.parts.begin(), split.parts.end() - 1);
    const auto parent = sim::FindPath(target->node, parentParts);
    const auto node = parent ? parent->Child(split.parts.back()) : nullptr;
    if (!node) return kErrorFileNotFound;
    sim::MarkDeleted(*node);
    std::erase(parent->children, node);
  }
  sim::JournalWrite(s, {RegistryCall::kRegDeleteTreeW, path, {}, 0, {}});
  return kErrorSuccess;
}

long RegCloseKey(RegistryKey key) {
  auto& s = sim::S();
  const std::lock_guard guard(s.lock);
  if (s.hives.contains(key)) return kErrorSuccess;
  const auto open = s.handles.find(key);
  if (open == s.handles.end()) {
    ++s.invalidUses;
    return kErrorInvalidHandle;
  }
  const std::u16string path = open->second.node->path;
  s.handles.erase(open);
  if (const auto failure = sim::Scripted(s, RegistryCall::kRegCloseKey, path)) return *failure;
  return kErrorSuccess;
}

}  // namespace platform
