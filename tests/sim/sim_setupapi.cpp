#include "sim_setupapi.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <utility>

#include "base/text.h"
#include "platform/kernel.h"
#include "sim_core.h"
#include "sim_kernel.h"

namespace sim {

namespace {

using platform::DeviceInfoSet;
using platform::DeviceNotifyHandle;

struct Node {
  Device device;
  std::uint32_t parent = 0;  // node number; 0 for the root itself
  std::vector<std::uint32_t> children;
  bool removed = false;
  bool disabled = false;
  std::optional<RemovalAnswer> eject;
  std::optional<RemovalAnswer> subtree;
  std::optional<std::uint32_t> disable;
};

struct ListedInterface {
  std::uint32_t node = 0;
  std::size_t interfaceIndex = 0;
};

// A list keeps node numbers and interface positions only; the tree itself is never copied.
struct List {
  std::vector<std::uint32_t> devices;
  std::map<std::uint32_t, std::size_t> positionOf;  // node -> position in `devices`
  std::vector<ListedInterface> interfaces;
  bool interfacesKnown = false;
};

Device ComputerDevice() {
  Device computer;
  computer.instanceId = std::u16string(kComputerInstanceId);
  computer.setupClass = kComputerClass;
  computer.description = u"ACPI x64-based PC";
  computer.className = u"Computer";
  computer.classGuidText = GuidText(kComputerClass);
  computer.manufacturer = u"(Standard computers)";
  return computer;
}

struct State {
  std::mutex lock;
  // Node n lives at nodes[n - 1]; node 1 is the root.
  std::vector<Node> nodes;
  std::map<std::u16string, std::uint32_t> byId;  // folded instance id -> node
  std::map<std::uintptr_t, List> lists;
  std::uintptr_t nextList = 0x5000;
  int invalidListUses = 0;
  std::map<std::uintptr_t, NotificationRegistration> notifications;
  std::uintptr_t nextNotification = 0x7000;
  unsigned long notificationFailure = 0;
  // Lists SetupDiGetClassDevsW refuses: by class (none: every class) with the error it sets.
  std::vector<std::pair<std::optional<Guid>, unsigned long>> refusedLists;

  State() { Reset(); }

  void Reset() {
    nodes.clear();
    byId.clear();
    Node root;
    root.device.instanceId = std::u16string(kRootInstanceId);
    nodes.push_back(std::move(root));
    byId[FoldCase(kRootInstanceId)] = 1;
    Add(ComputerDevice());
    lists.clear();
    nextList = 0x5000;
    invalidListUses = 0;
    notifications.clear();
    nextNotification = 0x7000;
    notificationFailure = 0;
    refusedLists.clear();
  }

  std::uint32_t Add(const Device& device) {
    if (device.instanceId.empty() || byId.count(FoldCase(device.instanceId)) != 0) return 0;
    const std::uint32_t parent = device.parentId.empty() ? 1 : Find(device.parentId);
    if (parent == 0) return 0;
    Node node;
    node.device = device;
    node.parent = parent;
    nodes.push_back(std::move(node));
    const auto number = static_cast<std::uint32_t>(nodes.size());
    nodes[parent - 1].children.push_back(number);
    byId[FoldCase(device.instanceId)] = number;
    return number;
  }

  Node* NodeAt(std::uint32_t number) {
    if (number == 0 || number > nodes.size()) return nullptr;
    Node& node = nodes[number - 1];
    return node.removed ? nullptr : &node;
  }

  std::uint32_t Find(std::u16string_view instanceId) {
    const auto found = byId.find(FoldCase(instanceId));
    if (found == byId.end() || nodes[found->second - 1].removed) return 0;
    return found->second;
  }

  Node* FindNode(std::u16string_view instanceId) { return NodeAt(Find(instanceId)); }

  List* ListOf(DeviceInfoSet set) {
    const auto found = lists.find(static_cast<std::uintptr_t>(set));
    if (found == lists.end()) {
      ++invalidListUses;
      return nullptr;
    }
    return &found->second;
  }

  void RemoveSubtree(std::uint32_t number) {
    Node& node = nodes[number - 1];
    node.removed = true;
    for (const std::uint32_t child : node.children) {
      if (!nodes[child - 1].removed) RemoveSubtree(child);
    }
  }
};

State& S() {
  static State state;
  return state;
}

void ResetSetupApi() {
  const std::lock_guard guard(S().lock);
  S().Reset();
}

[[maybe_unused]] const bool registered = OnReset(&ResetSetupApi);

void Fail(unsigned long error) { SetLastErrorValue(error); }

// The interfaces of a list's devices, worked out once per list and only if asked for.
void KnowInterfaces(State& s, List& list) {
  if (list.interfacesKnown) return;
  for (const std::uint32_t number : list.devices) {
    const Node& node = s.nodes[number - 1];
    for (std::size_t i = 0; i < node.device.interfaces.size(); ++i) {
      list.interfaces.push_back({number, i});
    }
  }
  list.interfacesKnown = true;
}

void AddToList(List& list, std::uint32_t number) {
  if (list.positionOf.emplace(number, list.devices.size()).second) list.devices.push_back(number);
}

// The device a DeviceInfoData names in this list: its position, checked against its node.
std::optional<std::uint32_t> DeviceOf(const List& list, const platform::DeviceInfoData& device) {
  if (device.reserved == 0 || device.reserved > list.devices.size()) return std::nullopt;
  const std::uint32_t number = list.devices[device.reserved - 1];
  if (number != device.devInst) return std::nullopt;
  return number;
}

// The described device behind a list and one of its DeviceInfoData, or null with the error set
// that Windows gives for a bad list or a device not of it.
const Device* DeviceOfListLocked(State& s, platform::DeviceInfoSet set,
                                 const platform::DeviceInfoData& device) {
  const List* list = s.ListOf(set);
  if (!list) {
    Fail(platform::kErrorInvalidHandle);
    return nullptr;
  }
  const auto number = DeviceOf(*list, device);
  if (!number) {
    Fail(platform::kErrorInvalidParameter);
    return nullptr;
  }
  return &s.nodes[*number - 1].device;
}

std::string JournalName(State& s, std::uint32_t number) {
  const Node* node = s.NodeAt(number);
  return node ? WideToUtf8(node->device.instanceId) : "#" + std::to_string(number);
}

// Taken under the lock and journalled outside it, so that the call hook may use the tree.
std::string NamedNode(std::uint32_t number) {
  const std::lock_guard guard(S().lock);
  return JournalName(S(), number);
}

void CopyVeto(const RemovalAnswer& answer, std::uint32_t* vetoType, char16_t* vetoName,
              std::uint32_t nameLength) {
  if (vetoType) *vetoType = answer.vetoType;
  if (vetoName && nameLength > 0) {
    const std::size_t count = std::min<std::size_t>(answer.vetoName.size(), nameLength - 1);
    std::copy_n(answer.vetoName.data(), count, vetoName);
    vetoName[count] = u'\0';
  }
}

enum class Removal { kEject, kSubtree };

std::uint32_t RequestRemoval(Removal kind, std::uint32_t devInst, std::uint32_t* vetoType,
                             char16_t* vetoName, std::uint32_t nameLength) {
  const char* call =
      kind == Removal::kEject ? "CM_Request_Device_EjectW " : "CM_Query_And_Remove_SubTreeW ";
  Record(call + NamedNode(devInst));
  const std::lock_guard guard(S().lock);
  State& s = S();
  Node* node = s.NodeAt(devInst);
  if (!node || devInst == 1) return kCrInvalidDevnode;
  const std::optional<RemovalAnswer>& scripted =
      kind == Removal::kEject ? node->eject : node->subtree;
  const RemovalAnswer answer = scripted.value_or(RemovalAnswer{});
  if (answer.result != platform::kCrSuccess) {
    CopyVeto(answer, vetoType, vetoName, nameLength);
    return answer.result;
  }
  if (vetoType) *vetoType = 0;
  if (vetoName && nameLength > 0) vetoName[0] = u'\0';
  s.RemoveSubtree(devInst);
  return platform::kCrSuccess;
}

}  // namespace

std::u16string GuidText(const Guid& guid) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::u16string text = u"{";
  const auto hex = [&text](std::uint64_t value, int digits) {
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) {
      text.push_back(static_cast<char16_t>(kDigits[(value >> shift) & 0xF]));
    }
  };
  hex(guid.data1, 8);
  text.push_back(u'-');
  hex(guid.data2, 4);
  text.push_back(u'-');
  hex(guid.data3, 4);
  text.push_back(u'-');
  for (std::size_t i = 0; i < 8; ++i) {
    if (i == 2) text.push_back(u'-');
    hex(guid.data4[i], 2);
  }
  text.push_back(u'}');
  return text;
}

std::uint32_t AddDevice(const Device& device) {
  const std::lock_guard guard(S().lock);
  return S().Add(device);
}

void SetDevicePresent(std::u16string_view instanceId, bool present) {
  const std::lock_guard guard(S().lock);
  if (Node* node = S().FindNode(instanceId)) node->device.present = present;
}

void RemoveDevice(std::u16string_view instanceId) {
  const std::lock_guard guard(S().lock);
  State& s = S();
  const std::uint32_t number = s.Find(instanceId);
  if (number > 1) s.RemoveSubtree(number);
}

bool DeviceExists(std::u16string_view instanceId) {
  const std::lock_guard guard(S().lock);
  return S().Find(instanceId) > 1;
}

bool DeviceDisabled(std::u16string_view instanceId) {
  const std::lock_guard guard(S().lock);
  const Node* node = S().FindNode(instanceId);
  return node && node->disabled;
}

std::size_t DeviceCount() {
  const std::lock_guard guard(S().lock);
  return static_cast<std::size_t>(std::count_if(S().nodes.begin() + 1, S().nodes.end(),
                                                [](const Node& n) { return !n.removed; }));
}

void ScriptEject(std::u16string_view instanceId, RemovalAnswer answer) {
  const std::lock_guard guard(S().lock);
  if (Node* node = S().FindNode(instanceId)) node->eject = std::move(answer);
}

void ScriptSubtreeRemoval(std::u16string_view instanceId, RemovalAnswer answer) {
  const std::lock_guard guard(S().lock);
  if (Node* node = S().FindNode(instanceId)) node->subtree = std::move(answer);
}

void ScriptDisable(std::u16string_view instanceId, std::uint32_t result) {
  const std::lock_guard guard(S().lock);
  if (Node* node = S().FindNode(instanceId)) node->disable = result;
}

std::size_t OpenDeviceInfoListCount() {
  const std::lock_guard guard(S().lock);
  return S().lists.size();
}

std::size_t DeviceInfoListsMade() {
  const std::lock_guard guard(S().lock);
  return S().nextList - 0x5000;
}

int InvalidDeviceInfoListUses() {
  const std::lock_guard guard(S().lock);
  return S().invalidListUses;
}

void RefuseDeviceInfoList(std::optional<Guid> classGuid, unsigned long error) {
  const std::lock_guard guard(S().lock);
  S().refusedLists.emplace_back(classGuid, error);
}

void SetDeviceNotificationFailure(unsigned long error) {
  const std::lock_guard guard(S().lock);
  S().notificationFailure = error;
}

std::size_t OpenDeviceNotificationCount() {
  const std::lock_guard guard(S().lock);
  return S().notifications.size();
}

std::vector<NotificationRegistration> DeviceNotifications() {
  const std::lock_guard guard(S().lock);
  std::vector<NotificationRegistration> open;
  for (const auto& [handle, registration] : S().notifications) open.push_back(registration);
  return open;
}

}  // namespace sim

namespace platform {

using sim::Node;
using sim::S;
using sim::State;

DeviceInfoSet SetupDiGetClassDevsW(const Guid* classGuid, std::uint32_t flags) {
  const std::lock_guard guard(S().lock);
  State& s = S();
  const bool allClasses = (flags & kDigcfAllClasses) != 0;
  if (!classGuid && !allClasses) {
    sim::Fail(kErrorInvalidParameter);
    return {};
  }
  for (const auto& [refused, error] : s.refusedLists) {
    const bool sameClass = refused ? classGuid && *classGuid == *refused : !classGuid;
    if (sameClass) {
      sim::Fail(error);
      return {};
    }
  }
  const bool presentOnly = (flags & kDigcfPresent) != 0;
  const bool ofInterfaces = (flags & kDigcfDeviceInterface) != 0;
  sim::List list;
  for (std::uint32_t number = 2; number <= s.nodes.size(); ++number) {
    const Node& node = s.nodes[number - 1];
    if (node.removed || (presentOnly && !node.device.present)) continue;
    if (ofInterfaces) {
      // A device is listed with the interfaces of the class it has; with every class all of them.
      bool listed = false;
      for (std::size_t i = 0; i < node.device.interfaces.size(); ++i) {
        if (allClasses || node.device.interfaces[i].interfaceClass == *classGuid) {
          list.interfaces.push_back({number, i});
          if (!listed) sim::AddToList(list, number);
          listed = true;
        }
      }
    } else if (allClasses || node.device.setupClass == *classGuid) {
      sim::AddToList(list, number);
    }
  }
  list.interfacesKnown = ofInterfaces;
  const std::uintptr_t handle = s.nextList++;
  s.lists.emplace(handle, std::move(list));
  return static_cast<DeviceInfoSet>(handle);
}

bool SetupDiEnumDeviceInfo(DeviceInfoSet set, std::uint32_t index, DeviceInfoData* device) {
  const std::lock_guard guard(S().lock);
  State& s = S();
  const sim::List* list = s.ListOf(set);
  if (!list) {
    sim::Fail(kErrorInvalidHandle);
    return false;
  }
  if (!device) {
    sim::Fail(kErrorInvalidParameter);
    return false;
  }
  if (index >= list->devices.size()) {
    sim::Fail(kErrorNoMoreItems);
    return false;
  }
  const std::uint32_t number = list->devices[index];
  *device = {s.nodes[number - 1].device.setupClass, number, std::uintptr_t{index} + 1};
  return true;
}

bool SetupDiDestroyDeviceInfoList(DeviceInfoSet set) {
  const std::lock_guard guard(S().lock);
  State& s = S();
  if (s.lists.erase(static_cast<std::uintptr_t>(set)) == 0) {
    ++s.invalidListUses;
    sim::Fail(kErrorInvalidHandle);
    return false;
  }
  return true;
}

bool SetupDiGetDeviceInstanceIdW(DeviceInfoSet set, const DeviceInfoData& device, char16_t* buffer,
                                 std::uint32_t size, std::uint32_t* required) {
  const std::lock_guard guard(S().lock);
  const sim::Device* described = sim::DeviceOfListLocked(S(), set, device);
  if (!described) return false;
  const std::u16string& id = described->instanceId;
  const auto needed = static_cast<std::uint32_t>(id.size() + 1);
  if (required) *required = needed;
  if (!buffer || size < needed) {
    sim::Fail(kErrorInsufficientBuffer);
    return false;
  }
  std::copy(id.begin(), id.end(), buffer);
  buffer[id.size()] = u'\0';
  return true;
}

bool SetupDiGetDeviceRegistryPropertyW(DeviceInfoSet set, const DeviceInfoData& device,
                                       std::uint32_t property, std::uint32_t* type,
                                       std::uint8_t* buffer, std::uint32_t size,
                                       std::uint32_t* required) {
  const std::lock_guard guard(S().lock);
  const sim::Device* listed = sim::DeviceOfListLocked(S(), set, device);
  if (!listed) return false;
  const sim::Device& described = *listed;
  const std::optional<std::u16string>* text = nullptr;
  switch (property) {
    case kSpdrpDeviceDesc:
      text = &described.description;
      break;
    case kSpdrpService:
      text = &described.service;
      break;
    case kSpdrpClass:
      text = &described.className;
      break;
    case kSpdrpClassGuid:
      text = &described.classGuidText;
      break;
    case kSpdrpMfg:
      text = &described.manufacturer;
      break;
    case kSpdrpFriendlyName:
      text = &described.friendlyName;
      break;
    default:
      sim::Fail(sim::kErrorInvalidRegProperty);
      return false;
  }
  if (!text->has_value()) {
    sim::Fail(sim::kErrorInvalidData);
    return false;
  }
  const std::u16string& value = **text;
  const auto needed = static_cast<std::uint32_t>((value.size() + 1) * sizeof(char16_t));
  if (type) *type = sim::kRegSz;
  if (required) *required = needed;
  if (!buffer || size < needed) {
    sim::Fail(kErrorInsufficientBuffer);
    return false;
  }
  // Little-endian UTF-16, as the registry stores it, whatever the host's byte order.
  for (std::size_t i = 0; i <= value.size(); ++i) {
    const char16_t unit = i < value.size() ? value[i] : u'\0';
    buffer[2 * i] = static_cast<std::uint8_t>(unit & 0xFF);
    buffer[2 * i + 1] = static_cast<std::uint8_t>(unit >> 8);
  }
  return true;
}

bool SetupDiEnumDeviceInterfaces(DeviceInfoSet set, const DeviceInfoData* device,
                                 const Guid& interfaceClass, std::uint32_t index,
                                 DeviceInterfaceData* interfaceData) {
  const std::lock_guard guard(S().lock);
  State& s = S();
  sim::List* list = s.ListOf(set);
  if (!list) {
    sim::Fail(kErrorInvalidHandle);
    return false;
  }
  std::optional<std::uint32_t> only;
  if (device) {
    only = sim::DeviceOf(*list, *device);
    if (!only) {
      sim::Fail(kErrorInvalidParameter);
      return false;
    }
  }
  if (!interfaceData) {
    sim::Fail(kErrorInvalidParameter);
    return false;
  }
  sim::KnowInterfaces(s, *list);
  std::uint32_t seen = 0;
  for (std::size_t position = 0; position < list->interfaces.size(); ++position) {
    const sim::ListedInterface& listed = list->interfaces[position];
    if (only && listed.node != *only) continue;
    const sim::DeviceInterface& described =
        s.nodes[listed.node - 1].device.interfaces[listed.interfaceIndex];
    if (!(described.interfaceClass == interfaceClass)) continue;
    if (seen++ == index) {
      // SPINT_ACTIVE: a listed interface of a present device is enabled.
      const std::uint32_t flags = s.nodes[listed.node - 1].device.present ? 0x1 : 0x0;
      *interfaceData = {described.interfaceClass, flags, position + 1};
      return true;
    }
  }
  sim::Fail(kErrorNoMoreItems);
  return false;
}

bool SetupDiGetDeviceInterfaceDetailW(DeviceInfoSet set, const DeviceInterfaceData& interfaceData,
                                      char16_t* path, std::uint32_t capacity,
                                      std::uint32_t* required, DeviceInfoData* device) {
  const std::lock_guard guard(S().lock);
  State& s = S();
  sim::List* list = s.ListOf(set);
  if (!list) {
    sim::Fail(kErrorInvalidHandle);
    return false;
  }
  sim::KnowInterfaces(s, *list);
  if (interfaceData.reserved == 0 || interfaceData.reserved > list->interfaces.size()) {
    sim::Fail(kErrorInvalidParameter);
    return false;
  }
  const sim::ListedInterface& listed = list->interfaces[interfaceData.reserved - 1];
  const std::u16string& devicePath =
      s.nodes[listed.node - 1].device.interfaces[listed.interfaceIndex].path;
  const auto needed = static_cast<std::uint32_t>(devicePath.size() + 1);
  if (required) *required = needed;
  if (!path || capacity < needed) {
    sim::Fail(kErrorInsufficientBuffer);
    return false;
  }
  std::copy(devicePath.begin(), devicePath.end(), path);
  path[devicePath.size()] = u'\0';
  if (device) {
    const std::size_t position = list->positionOf.at(listed.node);
    *device = {s.nodes[listed.node - 1].device.setupClass, listed.node, position + 1};
  }
  return true;
}

std::uint32_t CM_Locate_DevNodeW(std::uint32_t* devInst, const char16_t* deviceId,
                                 std::uint32_t flags) {
  static_cast<void>(flags);
  if (!devInst) return sim::kCrInvalidPointer;
  const std::lock_guard guard(S().lock);
  State& s = S();
  *devInst = 0;
  if (!deviceId || *deviceId == u'\0') {
    *devInst = 1;
    return kCrSuccess;
  }
  const std::uint32_t number = s.Find(deviceId);
  // A phantom is found only with CM_LOCATE_DEVNODE_PHANTOM, which the seam never asks for.
  if (number == 0 || !s.nodes[number - 1].device.present) return kCrNoSuchDevnode;
  *devInst = number;
  return kCrSuccess;
}

std::uint32_t CM_Get_Parent(std::uint32_t* parent, std::uint32_t devInst, std::uint32_t flags) {
  static_cast<void>(flags);
  if (!parent) return sim::kCrInvalidPointer;
  const std::lock_guard guard(S().lock);
  *parent = 0;
  const Node* node = S().NodeAt(devInst);
  if (!node) return sim::kCrInvalidDevnode;
  if (node->parent == 0) return kCrNoSuchDevnode;
  *parent = node->parent;
  return kCrSuccess;
}

std::uint32_t CM_Get_Device_IDW(std::uint32_t devInst, char16_t* buffer, std::uint32_t length,
                                std::uint32_t flags) {
  static_cast<void>(flags);
  if (!buffer) return sim::kCrInvalidPointer;
  const std::lock_guard guard(S().lock);
  const Node* node = S().NodeAt(devInst);
  if (!node) return sim::kCrInvalidDevnode;
  const std::u16string& id = node->device.instanceId;
  // An id that fills the buffer exactly is copied without its terminator, as Windows does.
  if (length < id.size()) return sim::kCrBufferSmall;
  std::copy(id.begin(), id.end(), buffer);
  if (length > id.size()) buffer[id.size()] = u'\0';
  return kCrSuccess;
}

std::uint32_t CM_Request_Device_EjectW(std::uint32_t devInst, std::uint32_t* vetoType,
                                       char16_t* vetoName, std::uint32_t nameLength,
                                       std::uint32_t flags) {
  static_cast<void>(flags);
  return sim::RequestRemoval(sim::Removal::kEject, devInst, vetoType, vetoName, nameLength);
}

std::uint32_t CM_Disable_DevNode(std::uint32_t devInst, std::uint32_t flags) {
  static_cast<void>(flags);
  sim::Record("CM_Disable_DevNode " + sim::NamedNode(devInst));
  const std::lock_guard guard(S().lock);
  Node* node = S().NodeAt(devInst);
  if (!node || devInst == 1) return sim::kCrInvalidDevnode;
  const std::uint32_t result = node->disable.value_or(kCrSuccess);
  if (result == kCrSuccess) node->disabled = true;
  return result;
}

std::uint32_t CM_Query_And_Remove_SubTreeW(std::uint32_t devInst, std::uint32_t* vetoType,
                                           char16_t* vetoName, std::uint32_t nameLength,
                                           std::uint32_t flags) {
  static_cast<void>(flags);
  return sim::RequestRemoval(sim::Removal::kSubtree, devInst, vetoType, vetoName, nameLength);
}

DeviceNotifyHandle RegisterDeviceNotificationW(WindowHandle window, const Guid& interfaceClass,
                                               std::uint32_t flags) {
  sim::Record("RegisterDeviceNotificationW " + WideToUtf8(sim::GuidText(interfaceClass)));
  const std::lock_guard guard(S().lock);
  State& s = S();
  if (s.notificationFailure != 0) {
    sim::Fail(s.notificationFailure);
    return {};
  }
  if (!window) {
    sim::Fail(sim::kErrorInvalidWindowHandle);
    return {};
  }
  const std::uintptr_t handle = s.nextNotification++;
  s.notifications[handle] = {window, interfaceClass, flags};
  return static_cast<DeviceNotifyHandle>(handle);
}

bool UnregisterDeviceNotification(DeviceNotifyHandle handle) {
  sim::Record("UnregisterDeviceNotification");
  const std::lock_guard guard(S().lock);
  if (S().notifications.erase(static_cast<std::uintptr_t>(handle)) == 0) {
    sim::Fail(kErrorInvalidHandle);
    return false;
  }
  return true;
}

}  // namespace platform
