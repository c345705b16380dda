// The registry seam's contract: the same cases against the simulated registry on the host and
// against the Win32 adapter under Wine. Each case makes its own keys under
// HKCU\Software\KelvoTarnelContractTest (and, for the views, under HKLM\Software, which Wine's
// prefix lets its administrator write) and removes them again.
//
// Wine's prefix runs every program as its administrator, so a key that refuses access cannot be
// made here; those cases are host tests of the simulation (registry_host_only_test.cpp).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "platform/owners.h"
#include "platform/registry.h"

namespace {

using namespace platform;

constexpr std::u16string_view kBase = u"Software\\KelvoTarnelContractTest";

std::vector<std::uint8_t> Bytes(std::initializer_list<int> values) {
  std::vector<std::uint8_t> bytes;
  for (const int value : values) bytes.push_back(static_cast<std::uint8_t>(value));
  return bytes;
}

// UTF-16 text as little-endian bytes, without a terminator.
std::vector<std::uint8_t> TextBytes(std::u16string_view text) {
  std::vector<std::uint8_t> bytes(text.size() * 2);
  std::memcpy(bytes.data(), text.data(), bytes.size());
  return bytes;
}

// A handle value that no call gave out, to see an output overwritten.
RegistryKey Unopened() {
  constexpr std::uintptr_t kValue = 0x1234;
  return reinterpret_cast<RegistryKey>(kValue);  // NOLINT(performance-no-int-to-ptr)
}

UniqueRegistryKey Create(RegistryKey parent, std::u16string_view subKey,
                         std::uint32_t access = kKeyAllAccess) {
  RegistryKey key = nullptr;
  EXPECT_EQ(RegCreateKeyExW(parent, subKey, kRegOptionNonVolatile, access, &key, nullptr),
            kErrorSuccess)
      << "creating the test's key";
  return UniqueRegistryKey(key);
}

UniqueRegistryKey Open(RegistryKey parent, std::u16string_view subKey, std::uint32_t access) {
  RegistryKey key = nullptr;
  EXPECT_EQ(RegOpenKeyExW(parent, subKey, 0, access, &key), kErrorSuccess);
  return UniqueRegistryKey(key);
}

// What RegQueryValueExW gives for a buffer of `capacity` bytes, which starts filled with 0xEE so
// that whatever the call writes shows.
struct Read {
  long status = -1;
  std::uint32_t type = 0xFFFF;
  std::uint32_t size = 0;
  std::vector<std::uint8_t> buffer;
};
Read Query(RegistryKey key, std::u16string_view name, std::uint32_t capacity) {
  Read read;
  read.buffer.assign(capacity + 8, 0xEE);  // the slack shows a write past the capacity
  read.size = capacity;
  read.status = RegQueryValueExW(key, name, &read.type, read.buffer.data(), &read.size);
  return read;
}

std::vector<std::uint8_t> Head(const Read& read, std::size_t count) {
  return {read.buffer.begin(), read.buffer.begin() + static_cast<std::ptrdiff_t>(count)};
}

Read Get(RegistryKey key, std::u16string_view subKey, std::u16string_view name, std::uint32_t flags,
         std::uint32_t capacity) {
  Read read;
  read.buffer.assign(capacity + 8, 0xEE);
  read.size = capacity;
  read.status = RegGetValueW(key, subKey, name, flags, &read.type, read.buffer.data(), &read.size);
  return read;
}

// Stores exactly `data`. Windows looks at the unit after a string's count, so the copy it is
// given goes on with one that is not zero and adds nothing.
void Set(RegistryKey key, std::u16string_view name, std::uint32_t type,
         const std::vector<std::uint8_t>& data) {
  std::vector<std::uint8_t> memory = data;
  memory.insert(memory.end(), {0xEE, 0xEE});
  ASSERT_EQ(RegSetValueExW(key, name, type, memory.data(), static_cast<std::uint32_t>(data.size())),
            kErrorSuccess);
}

std::vector<std::u16string> SubkeyNames(RegistryKey key) {
  std::vector<std::u16string> names;
  for (std::uint32_t index = 0;; ++index) {
    std::array<char16_t, 300> name{};
    std::uint32_t size = name.size();
    const long status = RegEnumKeyExW(key, index, name.data(), &size);
    if (status != kErrorSuccess) {
      EXPECT_EQ(status, static_cast<long>(kErrorNoMoreItems));
      break;
    }
    names.emplace_back(name.data(), size);
  }
  return names;
}

class RegistryContract : public ::testing::Test {
 protected:
  void SetUp() override {
    RegDeleteTreeW(kHkeyCurrentUser, kBase);
    base_ = Create(kHkeyCurrentUser, kBase);
    ASSERT_TRUE(base_);
  }
  void TearDown() override {
    base_.reset();
    EXPECT_EQ(RegDeleteTreeW(kHkeyCurrentUser, kBase), kErrorSuccess);
  }
  RegistryKey base() const { return base_.get(); }

 private:
  UniqueRegistryKey base_;
};

// ---- Keys ----

TEST_F(RegistryContract, CreateTellsANewKeyFromAnExistingOne) {
  RegistryKey key = nullptr;
  std::uint32_t disposition = 0;
  ASSERT_EQ(RegCreateKeyExW(base(), u"made", 0, kKeyRead, &key, &disposition), kErrorSuccess);
  EXPECT_EQ(disposition, kRegCreatedNewKey);
  RegCloseKey(key);
  ASSERT_EQ(RegCreateKeyExW(base(), u"made", 0, kKeyRead, &key, &disposition), kErrorSuccess);
  EXPECT_EQ(disposition, kRegOpenedExistingKey);
  RegCloseKey(key);
}

TEST_F(RegistryContract, CreateMakesEveryMissingKeyOnThePath) {
  Create(base(), u"one\\two\\three");
  EXPECT_TRUE(Open(base(), u"one\\two", kKeyRead));
  EXPECT_TRUE(Open(base(), u"one\\two\\three", kKeyRead));
}

TEST_F(RegistryContract, MissingKeyIsFileNotFoundWithANullKey) {
  RegistryKey key = Unopened();
  EXPECT_EQ(RegOpenKeyExW(base(), u"absent", 0, kKeyRead, &key), kErrorFileNotFound);
  EXPECT_EQ(key, nullptr);
  EXPECT_EQ(RegOpenKeyExW(base(), u"absent\\below", 0, kKeyRead, &key), kErrorFileNotFound);
}

TEST_F(RegistryContract, PathsIgnoreLetterCaseAndEmptyComponents) {
  Create(base(), u"Mixed\\Case");
  EXPECT_TRUE(Open(kHkeyCurrentUser, u"SOFTWARE\\kelvotarnelcontracttest\\MIXED\\case", kKeyRead));
  EXPECT_TRUE(Open(base(), u"Mixed\\\\Case\\", kKeyRead));
}

TEST_F(RegistryContract, APathStartingWithABackslashIsABadPathname) {
  RegistryKey key = nullptr;
  EXPECT_EQ(RegOpenKeyExW(kHkeyCurrentUser, u"\\Software", 0, kKeyRead, &key), kErrorBadPathname);
}

TEST_F(RegistryContract, APredefinedKeyWithNoSubkeyOpensAsItself) {
  RegistryKey key = nullptr;
  ASSERT_EQ(RegOpenKeyExW(kHkeyCurrentUser, u"", 0, kKeyRead, &key), kErrorSuccess);
  EXPECT_EQ(key, kHkeyCurrentUser);
}

TEST_F(RegistryContract, AnOpenKeyWithNoSubkeyOpensAgainAsANewHandle) {
  RegistryKey again = nullptr;
  ASSERT_EQ(RegOpenKeyExW(base(), u"", 0, kKeyRead, &again), kErrorSuccess);
  const UniqueRegistryKey owner(again);
  EXPECT_NE(again, base());
  Set(base(), u"seen", kRegDword, Bytes({1, 0, 0, 0}));
  EXPECT_EQ(Query(again, u"seen", 4).status, kErrorSuccess);
}

TEST_F(RegistryContract, KeyNamesHoldUpTo256Units) {
  const std::u16string name256(256, u'n');
  const std::u16string name257(257, u'n');
  RegistryKey key = nullptr;
  ASSERT_EQ(RegCreateKeyExW(base(), name256, 0, kKeyRead, &key, nullptr), kErrorSuccess);
  RegCloseKey(key);
  EXPECT_EQ(RegCreateKeyExW(base(), name257, 0, kKeyRead, &key, nullptr), kErrorInvalidParameter);
  EXPECT_EQ(RegOpenKeyExW(base(), name257, 0, kKeyRead, &key), kErrorInvalidParameter);
}

TEST_F(RegistryContract, ClosingAPredefinedKeyDoesNothingAndANullOneIsInvalid) {
  EXPECT_EQ(RegCloseKey(kHkeyLocalMachine), kErrorSuccess);
  EXPECT_EQ(RegCloseKey(nullptr), kErrorInvalidHandle);
  EXPECT_TRUE(Open(kHkeyLocalMachine, u"SOFTWARE", kKeyRead));
}

TEST_F(RegistryContract, TheOwnerClosesItsKey) {
  RegistryKey raw = nullptr;
  {
    const UniqueRegistryKey owner = Open(base(), u"", kKeyRead);
    raw = owner.get();
    ASSERT_NE(raw, nullptr);
  }
  EXPECT_EQ(RegCloseKey(raw), kErrorInvalidHandle);
}

// ---- Values ----

TEST_F(RegistryContract, EveryValueTypeReadsBackWithItsTypeAndExactSize) {
  struct Case {
    std::u16string_view name;
    std::uint32_t type;
    std::vector<std::uint8_t> data;
  };
  const Case cases[] = {
      {u"none", kRegNone, Bytes({1, 2})},
      {u"sz", kRegSz, TextBytes(std::u16string_view(u"text\0", 5))},
      {u"expand", kRegExpandSz, TextBytes(std::u16string_view(u"%TEMP%\\x\0", 9))},
      {u"binary", kRegBinary, Bytes({0, 1, 2, 0xFF, 0})},
      {u"dword", kRegDword, Bytes({0x78, 0x56, 0x34, 0x12})},
      {u"bigEndian", kRegDwordBigEndian, Bytes({0x12, 0x34, 0x56, 0x78})},
      {u"link", kRegLink, TextBytes(u"\\Registry\\Machine")},
      {u"multi", kRegMultiSz, TextBytes(std::u16string_view(u"one\0two\0\0", 9))},
      {u"resources", kRegResourceList, Bytes({1, 0, 0, 0, 5})},
      {u"descriptor", kRegFullResourceDescriptor, Bytes({2, 0, 0})},
      {u"requirements", kRegResourceRequirementsList, Bytes({3})},
      {u"qword", kRegQword, Bytes({1, 2, 3, 4, 5, 6, 7, 8})},
  };
  for (const Case& c : cases) Set(base(), c.name, c.type, c.data);
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.name.begin(), c.name.end()));
    std::uint32_t type = 0xFFFF;
    std::uint32_t size = 0;
    ASSERT_EQ(RegQueryValueExW(base(), c.name, &type, nullptr, &size), kErrorSuccess);
    EXPECT_EQ(type, c.type);
    EXPECT_EQ(size, c.data.size());
    const Read read = Query(base(), c.name, static_cast<std::uint32_t>(c.data.size()));
    ASSERT_EQ(read.status, kErrorSuccess);
    EXPECT_EQ(read.type, c.type);
    EXPECT_EQ(read.size, c.data.size());
    EXPECT_EQ(Head(read, c.data.size()), c.data);
    EXPECT_EQ(read.buffer[c.data.size()], 0xEE);
  }
}

TEST_F(RegistryContract, TheDefaultValueHasTheEmptyName) {
  Set(base(), u"", kRegSz, TextBytes(std::u16string_view(u"default\0", 8)));
  const Read read = Query(base(), u"", 16);
  EXPECT_EQ(read.status, kErrorSuccess);
  EXPECT_EQ(read.size, 16u);
}

TEST_F(RegistryContract, ValueNamesIgnoreLetterCase) {
  Set(base(), u"Value", kRegDword, Bytes({7, 0, 0, 0}));
  const Read read = Query(base(), u"VALUE", 4);
  ASSERT_EQ(read.status, kErrorSuccess);
  EXPECT_EQ(read.buffer[0], 7);
}

TEST_F(RegistryContract, WritingAgainReplacesTypeAndData) {
  Set(base(), u"v", kRegSz, TextBytes(std::u16string_view(u"long text\0", 10)));
  Set(base(), u"v", kRegDword, Bytes({1, 0, 0, 0}));
  const Read read = Query(base(), u"v", 32);
  EXPECT_EQ(read.type, kRegDword);
  EXPECT_EQ(read.size, 4u);
}

TEST_F(RegistryContract, AShortBufferIsMoreDataWithTheSizeNeededAndTheType) {
  Set(base(), u"v", kRegSz, TextBytes(std::u16string_view(u"hello\0", 6)));
  for (const std::uint32_t capacity : {0u, 2u, 11u}) {
    const Read read = Query(base(), u"v", capacity);
    EXPECT_EQ(read.status, kErrorMoreData) << capacity;
    EXPECT_EQ(read.size, 12u) << capacity;
    EXPECT_EQ(read.type, kRegSz) << capacity;
  }
}

TEST_F(RegistryContract, AMissingValueIsFileNotFound) {
  std::uint32_t type = 0xFFFF;
  std::uint32_t size = 77;
  EXPECT_EQ(RegQueryValueExW(base(), u"absent", &type, nullptr, &size), kErrorFileNotFound);
  EXPECT_EQ(type, 0xFFFFu);
  const Read read = Query(base(), u"absent", 8);
  EXPECT_EQ(read.status, kErrorFileNotFound);
  EXPECT_EQ(read.size, 8u);
  EXPECT_EQ(read.type, 0xFFFFu);
}

TEST_F(RegistryContract, ASizeQueryOfAMissingValueClearsTheSize) {
  std::uint32_t size = 77;
  EXPECT_EQ(RegQueryValueExW(base(), u"absent", nullptr, nullptr, &size), kErrorFileNotFound);
  EXPECT_EQ(size, 0u);
}

TEST_F(RegistryContract, DataWithoutASizeIsAnInvalidParameter) {
  Set(base(), u"v", kRegDword, Bytes({1, 0, 0, 0}));
  std::uint8_t buffer[4] = {};
  EXPECT_EQ(RegQueryValueExW(base(), u"v", nullptr, buffer, nullptr), kErrorInvalidParameter);
}

TEST_F(RegistryContract, AnExistenceQueryNeedsNoOutputs) {
  Set(base(), u"v", kRegDword, Bytes({1, 0, 0, 0}));
  EXPECT_EQ(RegQueryValueExW(base(), u"v", nullptr, nullptr, nullptr), kErrorSuccess);
  EXPECT_EQ(RegQueryValueExW(base(), u"absent", nullptr, nullptr, nullptr), kErrorFileNotFound);
}

TEST_F(RegistryContract, WritingNoDataFromNowhereIsRefused) {
  EXPECT_EQ(RegSetValueExW(base(), u"v", kRegBinary, nullptr, 4), kErrorNoAccess);
  EXPECT_EQ(RegSetValueExW(base(), u"empty", kRegBinary, nullptr, 0), kErrorSuccess);
  EXPECT_EQ(Query(base(), u"empty", 4).size, 0u);
}

// ---- Strings without terminators and odd lengths ----

// The unit after the count is not zero, so the value is stored exactly as counted.
TEST_F(RegistryContract, AStringCanBeStoredWithoutItsTerminator) {
  const std::u16string_view memory(u"abcX", 4);
  ASSERT_EQ(RegSetValueExW(base(), u"v", kRegSz, memory.data(), 6), kErrorSuccess);
  const Read exact = Query(base(), u"v", 6);
  ASSERT_EQ(exact.status, kErrorSuccess);
  EXPECT_EQ(exact.size, 6u);
  EXPECT_EQ(Head(exact, 8), Bytes({'a', 0, 'b', 0, 'c', 0, 0xEE, 0xEE}));
}

TEST_F(RegistryContract, AStringWithoutTerminatorIsEndedInABufferWithRoomForOne) {
  const std::u16string_view memory(u"abcX", 4);
  ASSERT_EQ(RegSetValueExW(base(), u"v", kRegSz, memory.data(), 6), kErrorSuccess);
  const Read roomy = Query(base(), u"v", 8);
  ASSERT_EQ(roomy.status, kErrorSuccess);
  EXPECT_EQ(roomy.size, 6u);
  EXPECT_EQ(Head(roomy, 10), Bytes({'a', 0, 'b', 0, 'c', 0, 0, 0, 0xEE, 0xEE}));
  // One byte short of a unit: no room, nothing written.
  const Read tight = Query(base(), u"v", 7);
  EXPECT_EQ(Head(tight, 8), Bytes({'a', 0, 'b', 0, 'c', 0, 0xEE, 0xEE}));
}

TEST_F(RegistryContract, AStringValueDoesNotGetATerminatorOfItsOwn) {
  // REG_BINARY data that looks like text is never ended.
  const std::u16string_view memory(u"abcX", 4);
  ASSERT_EQ(RegSetValueExW(base(), u"b", kRegBinary, memory.data(), 6), kErrorSuccess);
  const Read read = Query(base(), u"b", 16);
  EXPECT_EQ(Head(read, 8), Bytes({'a', 0, 'b', 0, 'c', 0, 0xEE, 0xEE}));
}

TEST_F(RegistryContract, ACountThatLeavesOutAFollowingTerminatorTakesItIn) {
  const std::u16string_view memory(u"abc\0", 4);
  ASSERT_EQ(RegSetValueExW(base(), u"v", kRegSz, memory.data(), 6), kErrorSuccess);
  EXPECT_EQ(Query(base(), u"v", 16).size, 8u);
  ASSERT_EQ(RegSetValueExW(base(), u"m", kRegMultiSz, memory.data(), 6), kErrorSuccess);
  EXPECT_EQ(Query(base(), u"m", 16).size, 8u);
  ASSERT_EQ(RegSetValueExW(base(), u"e", kRegExpandSz, memory.data(), 6), kErrorSuccess);
  EXPECT_EQ(Query(base(), u"e", 16).size, 8u);
  ASSERT_EQ(RegSetValueExW(base(), u"b", kRegBinary, memory.data(), 6), kErrorSuccess);
  EXPECT_EQ(Query(base(), u"b", 16).size, 6u);
}

TEST_F(RegistryContract, AnOddLengthStringIsKeptAsWritten) {
  const std::u16string_view memory(u"abcX", 4);
  ASSERT_EQ(RegSetValueExW(base(), u"v", kRegSz, memory.data(), 5), kErrorSuccess);
  const Read exact = Query(base(), u"v", 5);
  ASSERT_EQ(exact.status, kErrorSuccess);
  EXPECT_EQ(exact.size, 5u);
  EXPECT_EQ(Head(exact, 6), Bytes({'a', 0, 'b', 0, 'c', 0xEE}));
  // With room, a zero unit follows the odd byte.
  const Read roomy = Query(base(), u"v", 16);
  EXPECT_EQ(roomy.size, 5u);
  EXPECT_EQ(Head(roomy, 8), Bytes({'a', 0, 'b', 0, 'c', 0, 0, 0xEE}));
}

TEST_F(RegistryContract, AnOddCountFollowedByAZeroUnitGrowsByOneUnit) {
  // Units 'a', 'b', 0, 'd': five bytes end inside the zero unit, which Windows takes for a
  // terminator that the count left out.
  const std::u16string_view memory(u"ab\0d", 4);
  ASSERT_EQ(RegSetValueExW(base(), u"v", kRegSz, memory.data(), 5), kErrorSuccess);
  const Read read = Query(base(), u"v", 7);
  EXPECT_EQ(read.size, 7u);
  EXPECT_EQ(Head(read, 7), Bytes({'a', 0, 'b', 0, 0, 0, 'd'}));
}

TEST_F(RegistryContract, AOneByteStringIsEndedWhenThereIsRoom) {
  const std::u16string_view memory(u"qq", 2);
  ASSERT_EQ(RegSetValueExW(base(), u"v", kRegSz, memory.data(), 1), kErrorSuccess);
  const Read read = Query(base(), u"v", 16);
  EXPECT_EQ(read.size, 1u);
  EXPECT_EQ(Head(read, 4), Bytes({'q', 0, 0, 0xEE}));
}

TEST_F(RegistryContract, OddLengthBinaryReadsBackExactly) {
  Set(base(), u"b", kRegBinary, Bytes({'x', 'y', 'z'}));
  const Read read = Query(base(), u"b", 16);
  EXPECT_EQ(read.size, 3u);
  EXPECT_EQ(Head(read, 4), Bytes({'x', 'y', 'z', 0xEE}));
}

TEST_F(RegistryContract, AnEmptyStringHasNoBytesAtAll) {
  Set(base(), u"v", kRegSz, {});
  const Read read = Query(base(), u"v", 16);
  EXPECT_EQ(read.status, kErrorSuccess);
  EXPECT_EQ(read.size, 0u);
  EXPECT_EQ(read.buffer[0], 0xEE);
}

// ---- Enumeration ----

TEST_F(RegistryContract, SubkeysEnumerateInNameOrderWithoutLetterCase) {
  for (const std::u16string_view name : {u"b", u"A", u"C", u"a1", u"Zed", u"\u00e9t\u00e9"}) {
    Create(base(), name);
  }
  EXPECT_EQ(SubkeyNames(base()),
            (std::vector<std::u16string>{u"A", u"a1", u"b", u"C", u"Zed", u"\u00e9t\u00e9"}));
}

TEST_F(RegistryContract, NamesDifferingInLetterCaseAreOneKey) {
  std::uint32_t disposition = 0;
  RegistryKey key = nullptr;
  Create(base(), u"\u00e9t\u00e9");
  ASSERT_EQ(RegCreateKeyExW(base(), u"\u00c9T\u00c9", 0, kKeyRead, &key, &disposition),
            kErrorSuccess);
  RegCloseKey(key);
  EXPECT_EQ(disposition, kRegOpenedExistingKey);
  EXPECT_EQ(SubkeyNames(base()), (std::vector<std::u16string>{u"\u00e9t\u00e9"}));
}

TEST_F(RegistryContract, EnumerationEndsWithNoMoreItems) {
  Create(base(), u"only");
  std::array<char16_t, 16> name{};
  std::uint32_t size = name.size();
  EXPECT_EQ(RegEnumKeyExW(base(), 1, name.data(), &size), kErrorNoMoreItems);
  EXPECT_EQ(size, name.size());
  size = name.size();
  EXPECT_EQ(RegEnumKeyExW(base(), 9, name.data(), &size), kErrorNoMoreItems);
}

TEST_F(RegistryContract, ANameBufferNeedsRoomForTheTerminator) {
  Create(base(), u"abc");
  std::array<char16_t, 8> name{};
  name.fill(u'#');
  std::uint32_t size = 3;
  EXPECT_EQ(RegEnumKeyExW(base(), 0, name.data(), &size), kErrorMoreData);
  EXPECT_EQ(size, 3u);
  EXPECT_EQ(name[0], u'#');
  size = 4;
  ASSERT_EQ(RegEnumKeyExW(base(), 0, name.data(), &size), kErrorSuccess);
  EXPECT_EQ(size, 3u);
  EXPECT_EQ(std::u16string(name.data()), u"abc");
}

TEST_F(RegistryContract, ANameOf256UnitsDoesNotFitABufferOf256AndTheNextIndexGoesOn) {
  Create(base(), std::u16string(255, u'a'));
  Create(base(), std::u16string(256, u'b'));
  Create(base(), u"c");
  std::array<char16_t, 256> name{};
  std::uint32_t size = name.size();
  ASSERT_EQ(RegEnumKeyExW(base(), 0, name.data(), &size), kErrorSuccess);
  EXPECT_EQ(size, 255u);
  size = name.size();
  EXPECT_EQ(RegEnumKeyExW(base(), 1, name.data(), &size), kErrorMoreData);
  EXPECT_EQ(size, 256u);
  size = name.size();
  ASSERT_EQ(RegEnumKeyExW(base(), 2, name.data(), &size), kErrorSuccess);
  EXPECT_EQ(std::u16string(name.data(), size), u"c");
}

// ---- Access and deleted keys ----

TEST_F(RegistryContract, AHandleRefusesWhatItWasNotOpenedFor) {
  Set(base(), u"v", kRegDword, Bytes({1, 0, 0, 0}));
  Create(base(), u"sub");
  const std::uint32_t one = 1;
  const UniqueRegistryKey reader = Open(kHkeyCurrentUser, kBase, kKeyRead);
  EXPECT_EQ(RegSetValueExW(reader.get(), u"v", kRegDword, &one, 4), kErrorAccessDenied);
  EXPECT_EQ(Query(reader.get(), u"v", 4).status, kErrorSuccess);

  const UniqueRegistryKey writer = Open(kHkeyCurrentUser, kBase, kKeySetValue);
  EXPECT_EQ(Query(writer.get(), u"v", 4).status, kErrorAccessDenied);
  EXPECT_EQ(RegSetValueExW(writer.get(), u"v", kRegDword, &one, 4), kErrorSuccess);
  std::array<char16_t, 16> name{};
  std::uint32_t size = name.size();
  EXPECT_EQ(RegEnumKeyExW(writer.get(), 0, name.data(), &size), kErrorAccessDenied);

  const UniqueRegistryKey querier = Open(kHkeyCurrentUser, kBase, kKeyQueryValue);
  size = name.size();
  EXPECT_EQ(RegEnumKeyExW(querier.get(), 0, name.data(), &size), kErrorAccessDenied);
  // Opening below a handle asks nothing of it.
  EXPECT_TRUE(Open(writer.get(), u"sub", kKeyRead));
}

TEST_F(RegistryContract, AHandleOfADeletedKeyAnswersKeyDeleted) {
  UniqueRegistryKey gone = Create(base(), u"gone");
  ASSERT_EQ(RegDeleteTreeW(base(), u"gone"), kErrorSuccess);
  const std::uint32_t one = 1;
  EXPECT_EQ(RegSetValueExW(gone.get(), u"v", kRegDword, &one, 4), kErrorKeyDeleted);
  EXPECT_EQ(Query(gone.get(), u"v", 4).status, kErrorKeyDeleted);
  RegistryKey below = nullptr;
  EXPECT_EQ(RegCreateKeyExW(gone.get(), u"below", 0, kKeyRead, &below, nullptr), kErrorKeyDeleted);
  EXPECT_EQ(RegCloseKey(gone.release()), kErrorSuccess);
}

TEST_F(RegistryContract, AHandleOfADeletedKeyNeitherListsNorOpens) {
  const UniqueRegistryKey parent = Create(base(), u"parent");
  Create(parent.get(), u"child");
  ASSERT_EQ(RegDeleteTreeW(base(), u"parent"), kErrorSuccess);
  std::array<char16_t, 16> name{};
  std::uint32_t size = name.size();
  EXPECT_EQ(RegEnumKeyExW(parent.get(), 0, name.data(), &size), kErrorKeyDeleted);
  RegistryKey child = nullptr;
  EXPECT_EQ(RegOpenKeyExW(parent.get(), u"child", 0, kKeyRead, &child), kErrorKeyDeleted);
}

TEST_F(RegistryContract, AKeyMadeAgainAfterDeletionIsANewKey) {
  const UniqueRegistryKey old = Create(base(), u"again");
  ASSERT_EQ(RegDeleteTreeW(base(), u"again"), kErrorSuccess);
  const UniqueRegistryKey fresh = Create(base(), u"again");
  Set(fresh.get(), u"v", kRegDword, Bytes({1, 0, 0, 0}));
  EXPECT_EQ(Query(old.get(), u"v", 4).status, kErrorKeyDeleted);
  EXPECT_EQ(Query(fresh.get(), u"v", 4).status, kErrorSuccess);
}

TEST_F(RegistryContract, CreateAndDeleteRefuseAPathStartingWithABackslash) {
  RegistryKey key = nullptr;
  EXPECT_EQ(RegCreateKeyExW(base(), u"\\lead", 0, kKeyRead, &key, nullptr), kErrorBadPathname);
  EXPECT_EQ(RegDeleteTreeW(base(), u"\\lead"), kErrorBadPathname);
}

// Unlike an open, a create with no subkey gives a handle of its own even for a predefined key.
// (Wine calls that key newly created; no caller looks, so the disposition is left out.)
TEST_F(RegistryContract, CreatingAPredefinedKeyWithNoSubkeyGivesANewHandle) {
  RegistryKey key = nullptr;
  ASSERT_EQ(RegCreateKeyExW(kHkeyCurrentUser, u"", 0, kKeyRead, &key, nullptr), kErrorSuccess);
  const UniqueRegistryKey owner(key);
  EXPECT_NE(key, kHkeyCurrentUser);
  EXPECT_TRUE(Open(key, kBase, kKeyRead));
}

TEST_F(RegistryContract, DeletingATreeTakesEverythingBelow) {
  Create(base(), u"tree\\branch\\leaf");
  ASSERT_EQ(RegDeleteTreeW(base(), u"tree"), kErrorSuccess);
  RegistryKey key = nullptr;
  EXPECT_EQ(RegOpenKeyExW(base(), u"tree", 0, kKeyRead, &key), kErrorFileNotFound);
  EXPECT_EQ(RegDeleteTreeW(base(), u"tree"), kErrorFileNotFound);
}

TEST_F(RegistryContract, DeletingATreeWithNoSubkeyEmptiesTheKey) {
  Set(base(), u"v", kRegDword, Bytes({1, 0, 0, 0}));
  Create(base(), u"sub");
  ASSERT_EQ(RegDeleteTreeW(base(), u""), kErrorSuccess);
  EXPECT_EQ(Query(base(), u"v", 4).status, kErrorFileNotFound);
  EXPECT_TRUE(SubkeyNames(base()).empty());
}

// ---- Views ----

class RegistryViews : public ::testing::Test {
 protected:
  static constexpr std::u16string_view kMachineKey = u"Software\\KelvoTarnelContractTest";

  void SetUp() override { Clean(); }
  void TearDown() override { Clean(); }

  static void Clean() {
    for (const std::uint32_t view : {kKeyWow6464Key, kKeyWow6432Key}) {
      RegistryKey software = nullptr;
      if (RegOpenKeyExW(kHkeyLocalMachine, u"Software", 0, kKeyAllAccess | view, &software) ==
          kErrorSuccess) {
        RegDeleteTreeW(software, u"KelvoTarnelContractTest");
        RegCloseKey(software);
      }
    }
    RegDeleteTreeW(kHkeyLocalMachine, u"SYSTEM\\KelvoTarnelContractTest");
    RegDeleteTreeW(kHkeyCurrentUser, kBase);
  }

  static long OpenStatus(RegistryKey root, std::u16string_view path, std::uint32_t access) {
    RegistryKey key = nullptr;
    const long status = RegOpenKeyExW(root, path, 0, access, &key);
    if (status == kErrorSuccess) RegCloseKey(key);
    return status;
  }
};

TEST_F(RegistryViews, The32BitViewOfMachineSoftwareIsItsWow6432Node) {
  Create(kHkeyLocalMachine, kMachineKey, kKeyAllAccess | kKeyWow6432Key);
  EXPECT_EQ(OpenStatus(kHkeyLocalMachine, kMachineKey, kKeyRead | kKeyWow6432Key), kErrorSuccess);
  EXPECT_EQ(OpenStatus(kHkeyLocalMachine, kMachineKey, kKeyRead | kKeyWow6464Key),
            kErrorFileNotFound);
  EXPECT_EQ(OpenStatus(kHkeyLocalMachine, kMachineKey, kKeyRead), kErrorFileNotFound);
  const std::u16string physical = u"Software\\WOW6432Node\\KelvoTarnelContractTest";
  EXPECT_EQ(OpenStatus(kHkeyLocalMachine, physical, kKeyRead), kErrorSuccess);
  EXPECT_EQ(OpenStatus(kHkeyLocalMachine, physical, kKeyRead | kKeyWow6432Key), kErrorSuccess);
}

TEST_F(RegistryViews, The64BitViewOfMachineSoftwareIsNotSeenFromThe32BitView) {
  Create(kHkeyLocalMachine, kMachineKey, kKeyAllAccess | kKeyWow6464Key);
  EXPECT_EQ(OpenStatus(kHkeyLocalMachine, kMachineKey, kKeyRead), kErrorSuccess);
  EXPECT_EQ(OpenStatus(kHkeyLocalMachine, kMachineKey, kKeyRead | kKeyWow6432Key),
            kErrorFileNotFound);
}

TEST_F(RegistryViews, EachViewHoldsItsOwnValues) {
  const UniqueRegistryKey wide =
      Create(kHkeyLocalMachine, kMachineKey, kKeyAllAccess | kKeyWow6464Key);
  const UniqueRegistryKey narrow =
      Create(kHkeyLocalMachine, kMachineKey, kKeyAllAccess | kKeyWow6432Key);
  Set(wide.get(), u"bits", kRegDword, Bytes({64, 0, 0, 0}));
  Set(narrow.get(), u"bits", kRegDword, Bytes({32, 0, 0, 0}));
  const Read read64 =
      Get(kHkeyLocalMachine, kMachineKey, u"bits", kRrfRtRegDword | kRrfSubkeyWow6464Key, 4);
  const Read read32 =
      Get(kHkeyLocalMachine, kMachineKey, u"bits", kRrfRtRegDword | kRrfSubkeyWow6432Key, 4);
  ASSERT_EQ(read64.status, kErrorSuccess);
  ASSERT_EQ(read32.status, kErrorSuccess);
  EXPECT_EQ(read64.buffer[0], 64);
  EXPECT_EQ(read32.buffer[0], 32);
}

TEST_F(RegistryViews, The32BitSoftwareKeyEnumeratesTheRedirectedKeys) {
  Create(kHkeyLocalMachine, kMachineKey, kKeyAllAccess | kKeyWow6432Key);
  const UniqueRegistryKey software =
      Open(kHkeyLocalMachine, u"Software", kKeyRead | kKeyWow6432Key);
  const auto names = SubkeyNames(software.get());
  EXPECT_NE(std::find(names.begin(), names.end(), u"KelvoTarnelContractTest"), names.end());
  // Below the redirected handle, paths are plain again whatever the flags.
  EXPECT_TRUE(Open(software.get(), u"KelvoTarnelContractTest", kKeyRead));
  EXPECT_TRUE(Open(software.get(), u"KelvoTarnelContractTest", kKeyRead | kKeyWow6464Key));
}

TEST_F(RegistryViews, APathBelowAnOpenSoftwareKeyIsNotRedirected) {
  Create(kHkeyLocalMachine, kMachineKey, kKeyAllAccess | kKeyWow6432Key);
  const UniqueRegistryKey software = Open(kHkeyLocalMachine, u"Software", kKeyRead);
  EXPECT_EQ(OpenStatus(software.get(), u"KelvoTarnelContractTest", kKeyRead | kKeyWow6432Key),
            kErrorFileNotFound);
}

TEST_F(RegistryViews, UserSoftwareIsSharedByBothViews) {
  Create(kHkeyCurrentUser, kBase, kKeyAllAccess | kKeyWow6432Key);
  EXPECT_EQ(OpenStatus(kHkeyCurrentUser, kBase, kKeyRead | kKeyWow6464Key), kErrorSuccess);
  EXPECT_EQ(OpenStatus(kHkeyCurrentUser, kBase, kKeyRead), kErrorSuccess);
  EXPECT_EQ(
      OpenStatus(kHkeyCurrentUser, u"Software\\WOW6432Node\\KelvoTarnelContractTest", kKeyRead),
      kErrorFileNotFound);
}

TEST_F(RegistryViews, MachineSystemIsSharedByBothViews) {
  Create(kHkeyLocalMachine, u"SYSTEM\\KelvoTarnelContractTest", kKeyAllAccess | kKeyWow6432Key);
  EXPECT_EQ(
      OpenStatus(kHkeyLocalMachine, u"SYSTEM\\KelvoTarnelContractTest", kKeyRead | kKeyWow6464Key),
      kErrorSuccess);
}

TEST_F(RegistryViews, RegGetValueWRefusesBothViewsAtOnce) {
  Create(kHkeyLocalMachine, kMachineKey, kKeyAllAccess);
  EXPECT_EQ(Get(kHkeyLocalMachine, kMachineKey, u"v",
                kRrfRtAny | kRrfSubkeyWow6464Key | kRrfSubkeyWow6432Key, 8)
                .status,
            kErrorInvalidParameter);
}

// ---- RegGetValueW ----

TEST_F(RegistryContract, RegGetValueWRefusesTheExpandableTypeWithoutNoExpand) {
  Set(base(), u"sz", kRegSz, TextBytes(std::u16string_view(u"text\0", 5)));
  const Read read = Get(kHkeyCurrentUser, kBase, u"sz", kRrfRtRegSz | kRrfRtRegExpandSz, 32);
  EXPECT_EQ(read.status, kErrorInvalidParameter);
  EXPECT_EQ(read.size, 32u);
  std::uint32_t size = 0;
  EXPECT_EQ(RegGetValueW(kHkeyCurrentUser, kBase, u"sz", kRrfRtRegSz | kRrfRtRegExpandSz, nullptr,
                         nullptr, &size),
            kErrorInvalidParameter);
}

TEST_F(RegistryContract, RegGetValueWReadsBothStringTypesAsStoredWithNoExpand) {
  Set(base(), u"sz", kRegSz, TextBytes(std::u16string_view(u"text\0", 5)));
  Set(base(), u"expand", kRegExpandSz, TextBytes(std::u16string_view(u"%Kt%\\x\0", 7)));
  const std::uint32_t flags = kRrfRtRegSz | kRrfRtRegExpandSz | kRrfNoExpand;
  const Read sz = Get(kHkeyCurrentUser, kBase, u"sz", flags, 32);
  ASSERT_EQ(sz.status, kErrorSuccess);
  EXPECT_EQ(sz.type, kRegSz);
  EXPECT_EQ(sz.size, 10u);
  const Read expand = Get(kHkeyCurrentUser, kBase, u"expand", flags, 32);
  ASSERT_EQ(expand.status, kErrorSuccess);
  EXPECT_EQ(expand.type, kRegExpandSz);
  EXPECT_EQ(Head(expand, 14), TextBytes(std::u16string_view(u"%Kt%\\x\0", 7)));
}

TEST_F(RegistryContract, RegGetValueWExpandsIntoAStringWhenAllowedTo) {
  // A name that no environment holds stays as it is written, on every machine.
  const std::u16string_view text(u"%KtContractUnset%\\x\0", 20);
  Set(base(), u"expand", kRegExpandSz, TextBytes(text));
  std::uint32_t type = 0;
  std::uint32_t size = 0;
  ASSERT_EQ(RegGetValueW(kHkeyCurrentUser, kBase, u"expand", kRrfRtRegSz, &type, nullptr, &size),
            kErrorSuccess);
  EXPECT_EQ(type, kRegSz);
  EXPECT_EQ(size, 40u);
  const Read read = Get(kHkeyCurrentUser, kBase, u"expand", kRrfRtRegSz, 64);
  ASSERT_EQ(read.status, kErrorSuccess);
  EXPECT_EQ(read.type, kRegSz);
  EXPECT_EQ(read.size, 40u);
  EXPECT_EQ(Head(read, 40), TextBytes(text));
  EXPECT_EQ(Get(kHkeyCurrentUser, kBase, u"expand", kRrfRtAny, 64).type, kRegSz);
}

TEST_F(RegistryContract, RegGetValueWRefusesTypesOutsideItsFlags) {
  Set(base(), u"sz", kRegSz, TextBytes(std::u16string_view(u"4\0", 2)));
  Set(base(), u"dword", kRegDword, Bytes({4, 0, 0, 0}));
  Set(base(), u"multi", kRegMultiSz, TextBytes(std::u16string_view(u"a\0\0", 3)));
  const Read sz = Get(base(), u"", u"sz", kRrfRtRegDword, 8);
  EXPECT_EQ(sz.status, kErrorUnsupportedType);
  EXPECT_EQ(sz.type, kRegSz);
  EXPECT_EQ(sz.size, 4u);
  EXPECT_EQ(Get(base(), u"", u"dword", kRrfRtRegSz | kRrfNoExpand, 8).status,
            kErrorUnsupportedType);
  EXPECT_EQ(Get(base(), u"", u"multi", kRrfRtRegSz | kRrfRtRegExpandSz | kRrfNoExpand, 8).status,
            kErrorUnsupportedType);
  // The wrong type wins over a short buffer.
  EXPECT_EQ(Get(base(), u"", u"sz", kRrfRtRegDword, 2).status, kErrorUnsupportedType);
}

TEST_F(RegistryContract, RegGetValueWAllowsNoFlagForSomeTypes) {
  Set(base(), u"bigEndian", kRegDwordBigEndian, Bytes({0, 0, 0, 4}));
  Set(base(), u"link", kRegLink, TextBytes(u"abc"));
  Set(base(), u"resources", kRegResourceList, Bytes({1, 2, 3}));
  for (const std::u16string_view name : {u"bigEndian", u"link", u"resources"}) {
    EXPECT_EQ(Get(base(), u"", name, kRrfRtAny, 16).status, kErrorUnsupportedType);
  }
  Set(base(), u"none", kRegNone, Bytes({1}));
  EXPECT_EQ(Get(base(), u"", u"none", kRrfRtAny, 16).status, kErrorSuccess);
}

TEST_F(RegistryContract, RegGetValueWTakesBinaryOfTheRightSizeAsADword) {
  Set(base(), u"four", kRegBinary, Bytes({4, 0, 0, 0}));
  Set(base(), u"three", kRegBinary, Bytes({4, 0, 0}));
  EXPECT_EQ(Get(base(), u"", u"four", kRrfRtDword, 4).status, kErrorSuccess);
  EXPECT_EQ(Get(base(), u"", u"three", kRrfRtDword, 4).status, kErrorDatatypeMismatch);
  EXPECT_EQ(Get(base(), u"", u"three", kRrfRtRegDword, 4).status, kErrorUnsupportedType);
}

TEST_F(RegistryContract, RegGetValueWReadsADwordOfThe64BitView) {
  Set(base(), u"Start", kRegDword, Bytes({4, 0, 0, 0}));
  std::uint32_t value = 0;
  std::uint32_t size = sizeof(value);
  ASSERT_EQ(RegGetValueW(kHkeyCurrentUser, kBase, u"Start", kRrfRtRegDword | kRrfSubkeyWow6464Key,
                         nullptr, &value, &size),
            kErrorSuccess);
  EXPECT_EQ(value, 4u);
  EXPECT_EQ(size, 4u);
}

TEST_F(RegistryContract, RegGetValueWGivesMissingKeysAndValuesAsFileNotFound) {
  const Read value = Get(kHkeyCurrentUser, kBase, u"absent", kRrfRtAny, 8);
  EXPECT_EQ(value.status, kErrorFileNotFound);
  EXPECT_EQ(value.size, 8u);
  std::uint32_t size = 77;
  EXPECT_EQ(RegGetValueW(kHkeyCurrentUser, kBase, u"absent", kRrfRtAny, nullptr, nullptr, &size),
            kErrorFileNotFound);
  EXPECT_EQ(size, 0u);
  const Read key = Get(base(), u"absent", u"v", kRrfRtAny, 8);
  EXPECT_EQ(key.status, kErrorFileNotFound);
  EXPECT_EQ(key.size, 8u);
  EXPECT_EQ(key.type, 0xFFFFu);
}

TEST_F(RegistryContract, RegGetValueWGivesTheSizeNeededForAShortBuffer) {
  Set(base(), u"sz", kRegSz, TextBytes(std::u16string_view(u"hello\0", 6)));
  const Read read = Get(base(), u"", u"sz", kRrfRtRegSz, 10);
  EXPECT_EQ(read.status, kErrorMoreData);
  EXPECT_EQ(read.size, 12u);
  EXPECT_EQ(read.type, kRegSz);
}

TEST_F(RegistryContract, RegGetValueWPassesAStringWithoutTerminatorOnAsStored) {
  const std::u16string_view memory(u"abcX", 4);
  ASSERT_EQ(RegSetValueExW(base(), u"v", kRegSz, memory.data(), 6), kErrorSuccess);
  std::uint32_t size = 0;
  ASSERT_EQ(RegGetValueW(base(), u"", u"v", kRrfRtRegSz, nullptr, nullptr, &size), kErrorSuccess);
  EXPECT_EQ(size, 6u);
  const Read exact = Get(base(), u"", u"v", kRrfRtRegSz, 6);
  EXPECT_EQ(exact.status, kErrorSuccess);
  EXPECT_EQ(Head(exact, 8), Bytes({'a', 0, 'b', 0, 'c', 0, 0xEE, 0xEE}));
}

TEST_F(RegistryContract, RegGetValueWZeroesTheBufferOnFailureWhenAsked) {
  Set(base(), u"sz", kRegSz, TextBytes(std::u16string_view(u"x\0", 2)));
  const Read read = Get(base(), u"", u"sz", kRrfRtRegDword | kRrfZeroOnFailure, 4);
  EXPECT_EQ(read.status, kErrorUnsupportedType);
  EXPECT_EQ(Head(read, 6), Bytes({0, 0, 0, 0, 0xEE, 0xEE}));
  const Read missing = Get(base(), u"", u"absent", kRrfRtRegDword | kRrfZeroOnFailure, 4);
  EXPECT_EQ(Head(missing, 6), Bytes({0, 0, 0, 0, 0xEE, 0xEE}));
}

TEST_F(RegistryContract, RegGetValueWWantsASizeWithData) {
  std::uint32_t value = 0;
  EXPECT_EQ(RegGetValueW(base(), u"", u"v", kRrfRtAny, nullptr, &value, nullptr),
            kErrorInvalidParameter);
}

}  // namespace
