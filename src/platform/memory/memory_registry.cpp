#include "platform/memory/memory_registry.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <mutex>
#include <vector>

#include "platform/text.h"

namespace vx::platform {

namespace {

// Limits as the real registry applies them (Windows documents 255 characters for a key name; it and
// Wine accept 256).
constexpr size_t kMaxKeyName = 256;
constexpr size_t kMaxValueName = 16383;
constexpr LONG kErrorNoAccess = 998;  // ERROR_NOACCESS: no data pointer for a non-zero size
constexpr std::u16string_view kWow64Node = u"WOW6432Node";

constexpr REGSAM kGenericRead = 0x80000000u;
constexpr REGSAM kGenericWrite = 0x40000000u;
constexpr REGSAM kGenericExecute = 0x20000000u;
constexpr REGSAM kGenericAll = 0x10000000u;
constexpr REGSAM kMaximumAllowed = 0x02000000u;

REGSAM MapAccess(REGSAM access) {
  REGSAM mapped = access & KEY_ALL_ACCESS;
  if (access & (kGenericRead | kGenericExecute)) mapped |= KEY_READ;
  if (access & kGenericWrite) mapped |= KEY_WRITE;
  if (access & (kGenericAll | kMaximumAllowed)) mapped |= KEY_ALL_ACCESS;
  return mapped;
}

struct Value {
  std::u16string name;
  DWORD type = REG_NONE;
  std::vector<BYTE> data;
};

struct Node {
  std::u16string name;
  Node* parent = nullptr;                      // null for roots and deleted keys
  std::vector<std::shared_ptr<Node>> subkeys;  // sorted by upper-case name, as the registry enumerates
  std::vector<Value> values;                   // in the order of creation, as Windows enumerates
  bool deleted = false;
  bool permanent = false;  // roots and the system's own keys
  bool viewRoot = false;   // HKLM\SOFTWARE: the 32-bit view goes on in its WOW6432Node
};

using NodePtr = std::shared_ptr<Node>;

std::vector<NodePtr>::iterator SubkeyPosition(Node& node, std::u16string_view name) {
  return std::lower_bound(node.subkeys.begin(), node.subkeys.end(), name,
                          [](const NodePtr& n, std::u16string_view v) { return CompareIgnoreCase(n->name, v) < 0; });
}

NodePtr FindSubkey(Node& node, std::u16string_view name) {
  auto it = SubkeyPosition(node, name);
  return it != node.subkeys.end() && CompareIgnoreCase((*it)->name, name) == 0 ? *it : nullptr;
}

Value* FindValue(Node& node, std::u16string_view name) {
  for (Value& v : node.values) {
    if (EqualsIgnoreCase(v.name, name)) return &v;
  }
  return nullptr;
}

// Repeated and trailing separators are skipped, as the real registry does; a leading one is refused.
LONG SplitKeyPath(std::u16string_view path, std::vector<std::u16string_view>& parts) {
  if (!path.empty() && path.front() == u'\\') return ERROR_BAD_PATHNAME;
  size_t start = 0;
  while (start < path.size()) {
    size_t end = path.find(u'\\', start);
    if (end == std::u16string_view::npos) end = path.size();
    if (end - start > kMaxKeyName) return ERROR_INVALID_PARAMETER;
    if (end > start) parts.push_back(path.substr(start, end - start));
    start = end + 1;
  }
  return ERROR_SUCCESS;
}

struct WalkResult {
  NodePtr node;
  bool created = false;
};

// Follows path from start, making missing keys when asked. In the 32-bit view a step into
// HKLM\SOFTWARE goes on in SOFTWARE\WOW6432Node (a path that names WOW6432Node is not turned twice);
// a walk that starts at SOFTWARE itself is not turned, as Wine does.
LONG Walk(const NodePtr& start, std::u16string_view path, bool wow32, bool create, WalkResult& out) {
  std::vector<std::u16string_view> parts;
  if (LONG rc = SplitKeyPath(path, parts); rc != ERROR_SUCCESS) return rc;
  NodePtr node = start;
  bool created = false;
  for (size_t i = 0; i < parts.size(); ++i) {
    auto it = SubkeyPosition(*node, parts[i]);
    if (it != node->subkeys.end() && CompareIgnoreCase((*it)->name, parts[i]) == 0) {
      node = *it;
    } else {
      if (!create) return ERROR_FILE_NOT_FOUND;
      auto child = std::make_shared<Node>();
      child->name = parts[i];
      child->parent = node.get();
      node->subkeys.insert(it, child);
      node = std::move(child);
      created = true;
    }
    if (wow32 && node->viewRoot) {
      node = FindSubkey(*node, kWow64Node);
      if (i + 1 < parts.size() && EqualsIgnoreCase(parts[i + 1], kWow64Node)) ++i;
    }
  }
  out = {std::move(node), created};
  return ERROR_SUCCESS;
}

NodePtr AddPermanent(Node& parent, std::u16string_view name) {
  auto node = std::make_shared<Node>();
  node->name = name;
  node->parent = &parent;
  node->permanent = true;
  parent.subkeys.insert(SubkeyPosition(parent, name), node);
  return node;
}

}  // namespace

struct MemoryRegistryTree {
  MemoryRegistryTree() {
    for (NodePtr* root : {&currentUser, &localMachine, &users}) {
      *root = std::make_shared<Node>();
      (*root)->permanent = true;
    }
    currentUser->name = u"HKEY_CURRENT_USER";
    localMachine->name = u"HKEY_LOCAL_MACHINE";
    users->name = u"HKEY_USERS";
    NodePtr software = AddPermanent(*localMachine, u"SOFTWARE");
    software->viewRoot = true;
    AddPermanent(*software, kWow64Node);
    classesRoot = AddPermanent(*software, u"Classes");
  }

  const NodePtr& Root(RegistryRoot root) const {
    switch (root) {
      case RegistryRoot::ClassesRoot: return classesRoot;
      case RegistryRoot::CurrentUser: return currentUser;
      case RegistryRoot::LocalMachine: return localMachine;
      case RegistryRoot::Users: break;
    }
    return users;
  }

  std::mutex mutex;
  NodePtr classesRoot, currentUser, localMachine, users;
};

namespace {

using TreePtr = std::shared_ptr<MemoryRegistryTree>;

// tree and start are taken by value: the caller's handle may be the very key being replaced.
LONG OpenOrCreate(TreePtr tree, NodePtr start, std::u16string_view path, REGSAM access, bool create,
                  std::unique_ptr<IRegistryKey>& key, DWORD* disposition);

LONG DeleteBelow(const TreePtr& tree, const NodePtr& start, std::u16string_view path, REGSAM view) {
  std::lock_guard lock(tree->mutex);
  if (start->deleted) return ERROR_KEY_DELETED;
  WalkResult found;
  if (LONG rc = Walk(start, path, (view & KEY_WOW64_32KEY) != 0, false, found); rc != ERROR_SUCCESS) return rc;
  Node& node = *found.node;
  if (node.permanent || !node.subkeys.empty()) return ERROR_ACCESS_DENIED;
  auto& siblings = node.parent->subkeys;
  siblings.erase(std::find(siblings.begin(), siblings.end(), found.node));
  node.deleted = true;
  node.parent = nullptr;
  node.values.clear();
  return ERROR_SUCCESS;
}

class MemoryKey final : public IRegistryKey {
 public:
  MemoryKey(TreePtr tree, NodePtr node, REGSAM access)
      : tree_(std::move(tree)), node_(std::move(node)), access_(access) {}

  LONG OpenKey(std::u16string_view path, REGSAM access, std::unique_ptr<IRegistryKey>& key) override {
    return OpenOrCreate(tree_, node_, path, access, false, key, nullptr);
  }

  // The real registry ignores the parent handle's rights here.
  LONG CreateKey(std::u16string_view path, REGSAM access, std::unique_ptr<IRegistryKey>& key,
                 DWORD* disposition) override {
    return OpenOrCreate(tree_, node_, path, access, true, key, disposition);
  }

  LONG QueryValue(std::u16string_view name, DWORD* type, BYTE* data, DWORD* size) override {
    if (data != nullptr && size == nullptr) return ERROR_INVALID_PARAMETER;
    std::lock_guard lock(tree_->mutex);
    if (LONG rc = Usable(KEY_QUERY_VALUE); rc != ERROR_SUCCESS) return rc;
    const Value* value = FindValue(*node_, name);
    if (value == nullptr) return ERROR_FILE_NOT_FOUND;
    const auto needed = static_cast<DWORD>(value->data.size());
    if (type != nullptr) *type = value->type;
    if (data != nullptr && *size < needed) {
      *size = needed;
      return ERROR_MORE_DATA;
    }
    if (data != nullptr) std::copy(value->data.begin(), value->data.end(), data);
    if (size != nullptr) *size = needed;
    return ERROR_SUCCESS;
  }

  LONG SetValue(std::u16string_view name, DWORD type, const BYTE* data, DWORD size) override {
    if (name.size() > kMaxValueName) return ERROR_INVALID_PARAMETER;
    if (data == nullptr && size != 0) return kErrorNoAccess;
    std::lock_guard lock(tree_->mutex);
    if (LONG rc = Usable(KEY_SET_VALUE); rc != ERROR_SUCCESS) return rc;
    Value* value = FindValue(*node_, name);
    if (value == nullptr) value = &node_->values.emplace_back(Value{std::u16string(name), type, {}});
    value->type = type;
    value->data.assign(data, data + size);
    return ERROR_SUCCESS;
  }

  LONG DeleteValue(std::u16string_view name) override {
    std::lock_guard lock(tree_->mutex);
    if (LONG rc = Usable(KEY_SET_VALUE); rc != ERROR_SUCCESS) return rc;
    auto& values = node_->values;
    auto it = std::find_if(values.begin(), values.end(), [&](const Value& v) { return EqualsIgnoreCase(v.name, name); });
    if (it == values.end()) return ERROR_FILE_NOT_FOUND;
    values.erase(it);
    return ERROR_SUCCESS;
  }

  // Windows asks for KEY_QUERY_VALUE here; Wine does not check, so only this registry catches it.
  LONG QueryInfo(DWORD* subKeys, DWORD* values) override {
    std::lock_guard lock(tree_->mutex);
    if (LONG rc = Usable(KEY_QUERY_VALUE); rc != ERROR_SUCCESS) return rc;
    if (subKeys != nullptr) *subKeys = static_cast<DWORD>(node_->subkeys.size());
    if (values != nullptr) *values = static_cast<DWORD>(node_->values.size());
    return ERROR_SUCCESS;
  }

  LONG EnumKey(DWORD index, std::u16string& name) override {
    std::lock_guard lock(tree_->mutex);
    if (LONG rc = Usable(KEY_ENUMERATE_SUB_KEYS); rc != ERROR_SUCCESS) return rc;
    if (index >= node_->subkeys.size()) return ERROR_NO_MORE_ITEMS;
    name = node_->subkeys[index]->name;
    return ERROR_SUCCESS;
  }

  LONG EnumValue(DWORD index, std::u16string& name) override {
    std::lock_guard lock(tree_->mutex);
    if (LONG rc = Usable(KEY_QUERY_VALUE); rc != ERROR_SUCCESS) return rc;
    if (index >= node_->values.size()) return ERROR_NO_MORE_ITEMS;
    name = node_->values[index].name;
    return ERROR_SUCCESS;
  }

  LONG DeleteKey(std::u16string_view path, REGSAM view) override { return DeleteBelow(tree_, node_, path, view); }

 private:
  // With the lock held: may this handle do what needs `rights`?
  LONG Usable(REGSAM rights) const {
    if ((access_ & rights) != rights) return ERROR_ACCESS_DENIED;
    return node_->deleted ? ERROR_KEY_DELETED : ERROR_SUCCESS;
  }

  TreePtr tree_;
  NodePtr node_;
  REGSAM access_;
};

LONG OpenOrCreate(TreePtr tree, NodePtr start, std::u16string_view path, REGSAM access, bool create,
                  std::unique_ptr<IRegistryKey>& key, DWORD* disposition) {
  std::unique_ptr<IRegistryKey> result;
  LONG rc = ERROR_KEY_DELETED;
  {
    std::lock_guard lock(tree->mutex);
    WalkResult found;
    if (!start->deleted) rc = Walk(start, path, (access & KEY_WOW64_32KEY) != 0, create, found);
    if (rc == ERROR_SUCCESS) {
      if (disposition != nullptr) *disposition = found.created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
      result = std::make_unique<MemoryKey>(tree, std::move(found.node), MapAccess(access));
    }
  }
  key = std::move(result);  // a failure leaves no key, as RegOpenKeyExW does
  return rc;
}

// Text picture of values for Dump.
const char* TypeName(DWORD type) {
  static const char* const kNames[] = {"REG_NONE", "REG_SZ", "REG_EXPAND_SZ", "REG_BINARY",
                                       "REG_DWORD", "REG_DWORD_BIG_ENDIAN", "REG_LINK", "REG_MULTI_SZ",
                                       "REG_RESOURCE_LIST", "REG_FULL_RESOURCE_DESCRIPTOR",
                                       "REG_RESOURCE_REQUIREMENTS_LIST", "REG_QWORD"};
  return type < std::size(kNames) ? kNames[type] : nullptr;
}

std::u16string CharsOf(const std::vector<BYTE>& data) {
  std::u16string chars(data.size() / 2, u'\0');
  for (size_t i = 0; i < chars.size(); ++i) chars[i] = static_cast<char16_t>(data[2 * i] | (data[2 * i + 1] << 8));
  return chars;
}

std::string Quoted(std::u16string_view text) { return "\"" + Utf16ToUtf8(text) + "\""; }

// "text" for a NUL-terminated string, ["a", "b"] for a well-formed multi-string, else empty.
std::string Readable(const Value& v) {
  if (v.data.empty() || v.data.size() % 2 != 0) return {};
  const std::u16string chars = CharsOf(v.data);
  if (v.type == REG_SZ || v.type == REG_EXPAND_SZ) {
    return chars.find(u'\0') == chars.size() - 1 ? Quoted(std::u16string_view(chars).substr(0, chars.size() - 1))
                                                  : std::string();
  }
  if (v.type != REG_MULTI_SZ) return {};
  std::string list = "[";
  size_t pos = 0;
  while (pos < chars.size() && chars[pos] != u'\0') {
    const size_t end = chars.find(u'\0', pos);
    if (end == std::u16string::npos) return {};
    list += (pos == 0 ? "" : ", ") + Quoted(std::u16string_view(chars).substr(pos, end - pos));
    pos = end + 1;
  }
  return pos == chars.size() - 1 ? list + "]" : std::string();
}

std::string Describe(const Value& v) {
  const char* name = TypeName(v.type);
  std::string text = name != nullptr ? name : "type " + std::to_string(v.type);
  char number[24];
  if (v.type == REG_DWORD && v.data.size() == 4) {
    const auto d = static_cast<unsigned long>(v.data[0] | (v.data[1] << 8) | (v.data[2] << 16) |
                                              (static_cast<unsigned long>(v.data[3]) << 24));
    std::snprintf(number, sizeof number, " 0x%08lX", d);
    return text + number;
  }
  if (std::string readable = Readable(v); !readable.empty()) return text + " " + readable;
  for (BYTE b : v.data) {
    std::snprintf(number, sizeof number, " %02x", b);
    text += number;
  }
  return text;
}

void DumpNode(const Node& node, size_t depth, std::string& out) {
  const std::string indent(2 * depth, ' ');
  out += indent + Utf16ToUtf8(node.name) + "\n";
  for (const Value& v : node.values) {
    out += indent + "  " + (v.name.empty() ? std::string("@") : Utf16ToUtf8(v.name)) + " = " + Describe(v) + "\n";
  }
  for (const NodePtr& sub : node.subkeys) DumpNode(*sub, depth + 1, out);
}

}  // namespace

MemoryRegistry::MemoryRegistry() : tree_(std::make_shared<MemoryRegistryTree>()) {}

MemoryRegistry::~MemoryRegistry() = default;

LONG MemoryRegistry::OpenKey(RegistryRoot root, std::u16string_view path, REGSAM access,
                             std::unique_ptr<IRegistryKey>& key) {
  return OpenOrCreate(tree_, tree_->Root(root), path, access, false, key, nullptr);
}

LONG MemoryRegistry::CreateKey(RegistryRoot root, std::u16string_view path, REGSAM access,
                               std::unique_ptr<IRegistryKey>& key, DWORD* disposition) {
  return OpenOrCreate(tree_, tree_->Root(root), path, access, true, key, disposition);
}

LONG MemoryRegistry::DeleteKey(RegistryRoot root, std::u16string_view path, REGSAM view) {
  return DeleteBelow(tree_, tree_->Root(root), path, view);
}

std::string MemoryRegistry::Dump(RegistryRoot root, std::u16string_view path) const {
  std::lock_guard lock(tree_->mutex);
  WalkResult found;
  if (Walk(tree_->Root(root), path, false, false, found) != ERROR_SUCCESS) return {};
  std::string out;
  DumpNode(*found.node, 0, out);
  return out;
}

}  // namespace vx::platform
