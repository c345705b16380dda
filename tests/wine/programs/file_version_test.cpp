// Reads the executable's file properties back the way Explorer does.
#include <windows.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

// The executable in the test layout, as Wine sees the Linux path.
std::wstring ExecutablePath() {
  const char* bin = std::getenv("KT_WINDOWS_BIN");
  if (bin == nullptr) return {};
  std::wstring path = L"Z:";
  for (const char* c = bin; *c != '\0'; ++c) path += (*c == '/') ? L'\\' : static_cast<wchar_t>(*c);
  return path + L"\\KelvoTarnel.exe";
}

std::wstring Widen(const char* text) { return std::wstring(text, text + std::strlen(text)); }

class FileVersionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::wstring path = ExecutablePath();
    ASSERT_FALSE(path.empty()) << "KT_WINDOWS_BIN is not set";
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &ignored);
    ASSERT_GT(size, 0u) << "no version resource, error " << GetLastError();
    data.resize(size);
    ASSERT_TRUE(GetFileVersionInfoW(path.c_str(), 0, size, data.data()));
  }

  std::wstring Text(const wchar_t* name) {
    const std::wstring query = std::wstring(L"\\StringFileInfo\\040904b0\\") + name;
    wchar_t* value = nullptr;
    UINT length = 0;
    if (!VerQueryValueW(data.data(), query.c_str(), reinterpret_cast<void**>(&value), &length) ||
        value == nullptr) {
      return L"<missing>";
    }
    return std::wstring(value);
  }

  std::vector<unsigned char> data;
};

TEST_F(FileVersionTest, NamesTheProduct) {
  EXPECT_EQ(Text(L"ProductName"), L"KelvoTarnel");
  EXPECT_EQ(Text(L"FileDescription"), L"KelvoTarnel");
  EXPECT_EQ(Text(L"OriginalFilename"), L"KelvoTarnel.exe");
}

TEST_F(FileVersionTest, CarriesTheProjectVersionInTextAndNumbers) {
  EXPECT_EQ(Text(L"FileVersion"), Widen(KT_PROJECT_VERSION));
  EXPECT_EQ(Text(L"ProductVersion"), Widen(KT_PROJECT_VERSION));
  VS_FIXEDFILEINFO* fixed = nullptr;
  UINT length = 0;
  ASSERT_TRUE(VerQueryValueW(data.data(), L"\\", reinterpret_cast<void**>(&fixed), &length));
  ASSERT_GE(length, sizeof(VS_FIXEDFILEINFO));
  EXPECT_EQ(fixed->dwSignature, 0xFEEF04BDu);
  const std::wstring numbers = std::to_wstring(HIWORD(fixed->dwFileVersionMS)) + L"." +
                               std::to_wstring(LOWORD(fixed->dwFileVersionMS)) + L"." +
                               std::to_wstring(HIWORD(fixed->dwFileVersionLS)) + L"." +
                               std::to_wstring(LOWORD(fixed->dwFileVersionLS));
  EXPECT_EQ(numbers, Widen(KT_PROJECT_VERSION));
  EXPECT_EQ(fixed->dwProductVersionMS, fixed->dwFileVersionMS);
  EXPECT_EQ(fixed->dwProductVersionLS, fixed->dwFileVersionLS);
}

}  // namespace
