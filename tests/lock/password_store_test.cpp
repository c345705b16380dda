#include "lock/password_store.h"

#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sim_core.h"
#include "sim_crypto.h"
#include "sim_kernel.h"
#include "sim_shell.h"

namespace {

const std::u16string kFolder = u"C:\\ProgramData\\KelvoTarnel";
const std::u16string kLockPath = u"C:\\ProgramData\\KelvoTarnel\\pseudo_lock.json";
const std::u16string kAuthPath = u"C:\\ProgramData\\KelvoTarnel\\uninstall_auth.json";

const std::u16string kBuiltInDigest =
    u"7bd008b72318f6b83b4d87a178c6d17b58d02b496a759bb7ba1f35d73658dde8";

// printf '' | sha256sum
const std::u16string kEmptyDigest =
    u"e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
// printf 'abc' | sha256sum
const std::u16string kAbcDigest =
    u"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
// printf 'secret' | sha256sum
const std::string kSecretDigest =
    "2bb80d537b1da3e38bd30361aa855686bde0eacd7162fef6a25fe97bf527a25b";
// printf 'p\xc3\xa4ssw\xc3\xb6rd' | sha256sum, i.e. "pässwörd" as UTF-8
const std::string kPasswordUtf8Digest =
    "46970bef70aced8123f0d5d094717e2a5cd412041e03b26376049fe65b2834a4";
// printf 'p\xe4ssw\xf6rd' | sha256sum, i.e. the same password as Latin-1: must not be used
const std::string kPasswordLatin1Digest =
    "0867ec9e47b8dba41b8b911df1bbbeac602b2e7fb28a90b334502f19e2da471d";
// printf '\xf0\x9f\x94\x92' | sha256sum, i.e. U+1F512 as UTF-8
const std::u16string kLockEmojiDigest =
    u"6ae1d2ee2e9592ea2e665661450a09fed95f7652324c4801c47aafe618daf96f";

std::u16string Wide(const std::string& ascii) { return {ascii.begin(), ascii.end()}; }

std::string Upper(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
  }
  return text;
}

class PasswordStoreTest : public ::testing::Test {
 protected:
  void SetUp() override { sim::ResetSimulation(); }

  static void SetArguments(std::vector<std::u16string> arguments) {
    arguments.insert(arguments.begin(), u"KelvoTarnel.exe");
    sim::SetCommandLineArguments(arguments);
  }

  static void SetAuthFile(const std::string& passwordHash) {
    sim::SetFile(kAuthPath, "{\"passwordHash\":\"" + passwordHash + "\"}");
  }

  static void SetLockFile(bool locked, const std::string& passwordHash) {
    sim::SetFile(kLockPath, std::string("{\"locked\":") + (locked ? "true" : "false") +
                                ",\"passwordHash\":\"" + passwordHash + "\"}");
  }
};

class PasswordPaths : public PasswordStoreTest {};
class ReadUtf8FileTest : public PasswordStoreTest {};
class ReadJsonBoolTest : public PasswordStoreTest {};
class ReadJsonStringTest : public PasswordStoreTest {};
class PseudoLockState : public PasswordStoreTest {};
class WritePseudoLockStateTest : public PasswordStoreTest {};
class Sha256HexTest : public PasswordStoreTest {};
class UninstallPasswordHash : public PasswordStoreTest {};
class VerifyUninstallPasswordTest : public PasswordStoreTest {};

// ---- Paths ----

TEST_F(PasswordPaths, BothFilesLieUnderTheSharedFolder) {
  sim::SetCommonAppDataFolder(u"D:\\Shared Data");
  EXPECT_EQ(GetPseudoLockPath(), u"D:\\Shared Data\\KelvoTarnel\\pseudo_lock.json");
  EXPECT_EQ(GetUninstallAuthPath(), u"D:\\Shared Data\\KelvoTarnel\\uninstall_auth.json");
}

TEST_F(PasswordPaths, PseudoLockFallbackIsUnderTheDriveRoot) {
  sim::SetCommonAppDataFolder(std::nullopt);
  EXPECT_EQ(GetPseudoLockPath(), u"C:\\KelvoTarnel\\pseudo_lock.json");
}

TEST_F(PasswordPaths, UninstallAuthFallbackIsUnderProgramData) {
  sim::SetCommonAppDataFolder(std::nullopt);
  EXPECT_EQ(GetUninstallAuthPath(), u"C:\\ProgramData\\KelvoTarnel\\uninstall_auth.json");
}

TEST_F(PasswordPaths, FallbackFilesAreTheOnesRead) {
  sim::SetCommonAppDataFolder(std::nullopt);
  sim::SetFile(u"C:\\KelvoTarnel\\pseudo_lock.json",
               "{\"locked\":false,\"passwordHash\":\"lockdigest\"}");
  sim::SetFile(u"C:\\ProgramData\\KelvoTarnel\\uninstall_auth.json",
               "{\"passwordHash\":\"authdigest\"}");
  EXPECT_FALSE(IsPseudoLockLocked());
  EXPECT_EQ(ReadLockPasswordHash(), u"lockdigest");
  EXPECT_EQ(ReadUninstallPasswordHash(), u"authdigest");
}

TEST_F(PasswordPaths, FilesOutsideTheSharedFolderAreNotRead) {
  sim::SetCommonAppDataFolder(u"D:\\Shared");
  sim::SetFile(u"C:\\KelvoTarnel\\pseudo_lock.json",
               "{\"locked\":false,\"passwordHash\":\"lockdigest\"}");
  sim::SetFile(kAuthPath, "{\"passwordHash\":\"authdigest\"}");
  EXPECT_TRUE(IsPseudoLockLocked());
  EXPECT_EQ(ReadLockPasswordHash(), u"");
  EXPECT_EQ(ReadUninstallPasswordHash(), kBuiltInDigest);
}

// ---- ReadUtf8File ----

TEST_F(ReadUtf8FileTest, MissingFileReadsEmpty) { EXPECT_EQ(ReadUtf8File(kLockPath), u""); }

TEST_F(ReadUtf8FileTest, EmptyFileReadsEmpty) {
  sim::SetFile(kLockPath, "");
  EXPECT_EQ(ReadUtf8File(kLockPath), u"");
}

TEST_F(ReadUtf8FileTest, ByteOrderMarkReadsTheSameAsWithout) {
  sim::SetFile(kLockPath, "{\"locked\":false}");
  sim::SetFile(kAuthPath, "\xEF\xBB\xBF{\"locked\":false}");
  EXPECT_EQ(ReadUtf8File(kLockPath), u"{\"locked\":false}");
  EXPECT_EQ(ReadUtf8File(kAuthPath), ReadUtf8File(kLockPath));
}

TEST_F(ReadUtf8FileTest, OnlyAByteOrderMarkReadsEmpty) {
  sim::SetFile(kLockPath, "\xEF\xBB\xBF");
  EXPECT_EQ(ReadUtf8File(kLockPath), u"");
}

TEST_F(ReadUtf8FileTest, OnlyTheFirstByteOrderMarkIsRemoved) {
  sim::SetFile(kLockPath, "\xEF\xBB\xBF\xEF\xBB\xBF{}");
  EXPECT_EQ(ReadUtf8File(kLockPath), u"\uFEFF{}");
}

TEST_F(ReadUtf8FileTest, TwoBytesOfAByteOrderMarkAreKept) {
  sim::SetFile(kLockPath, "\xEF\xBB");
  EXPECT_EQ(ReadUtf8File(kLockPath), u"\uFFFD");
}

TEST_F(ReadUtf8FileTest, NonAsciiTextIsDecodedFromUtf8) {
  sim::SetFile(kLockPath, "{\"k\":\"p\xC3\xA4ss \xF0\x9F\x94\x92\"}");
  EXPECT_EQ(ReadUtf8File(kLockPath), u"{\"k\":\"p\u00E4ss \U0001F512\"}");
}

TEST_F(ReadUtf8FileTest, InvalidBytesBecomeReplacementCharacters) {
  sim::SetFile(kLockPath,
               "a\xFF"
               "b");
  EXPECT_EQ(ReadUtf8File(kLockPath), u"a\uFFFDb");
}

TEST_F(ReadUtf8FileTest, FileHeldWithoutSharingReadsEmpty) {
  sim::SetFile(kLockPath, "{\"locked\":false}");
  sim::HoldOpenByOtherProcess(kLockPath, false);
  EXPECT_EQ(ReadUtf8File(kLockPath), u"");
}

TEST_F(ReadUtf8FileTest, FileHeldWithSharedWriteIsStillRead) {
  sim::SetFile(kLockPath, "{\"locked\":false}");
  sim::HoldOpenByOtherProcess(kLockPath, true);
  EXPECT_EQ(ReadUtf8File(kLockPath), u"{\"locked\":false}");
}

// ---- ReadJsonBool ----

TEST_F(ReadJsonBoolTest, SpacedTrueReadsAsLocked) {
  EXPECT_TRUE(ReadJsonBool(u"{\"locked\": true }", u"locked", false));
}

TEST_F(ReadJsonBoolTest, QuotedTrueReadsAsUnlocked) {
  EXPECT_FALSE(ReadJsonBool(u"{\"locked\":\"true\"}", u"locked", true));
}

TEST_F(ReadJsonBoolTest, FalseReadsAsUnlocked) {
  EXPECT_FALSE(ReadJsonBool(u"{\"locked\":false}", u"locked", true));
}

TEST_F(ReadJsonBoolTest, NothingAfterTheColonGivesTheDefault) {
  EXPECT_TRUE(ReadJsonBool(u"{\"locked\":", u"locked", true));
  EXPECT_FALSE(ReadJsonBool(u"{\"locked\":", u"locked", false));
}

TEST_F(ReadJsonBoolTest, OnlyBlanksAfterTheColonGiveTheDefault) {
  EXPECT_TRUE(ReadJsonBool(u"{\"locked\": \t\r\n", u"locked", true));
  EXPECT_FALSE(ReadJsonBool(u"{\"locked\": \t\r\n", u"locked", false));
}

TEST_F(ReadJsonBoolTest, TabsAndLineBreaksBeforeTheValueAreSkipped) {
  EXPECT_TRUE(ReadJsonBool(u"{\"locked\":\r\n\t true}", u"locked", false));
}

TEST_F(ReadJsonBoolTest, OtherWhitespaceIsNotSkipped) {
  EXPECT_FALSE(ReadJsonBool(u"{\"locked\":\ftrue}", u"locked", true));
  EXPECT_FALSE(ReadJsonBool(u"{\"locked\":\u00A0true}", u"locked", true));
}

TEST_F(ReadJsonBoolTest, MissingKeyGivesTheDefault) {
  EXPECT_TRUE(ReadJsonBool(u"{\"other\":false}", u"locked", true));
  EXPECT_FALSE(ReadJsonBool(u"{\"other\":true}", u"locked", false));
  EXPECT_TRUE(ReadJsonBool(u"", u"locked", true));
}

TEST_F(ReadJsonBoolTest, KeyIsMatchedWithLetterCase) {
  EXPECT_TRUE(ReadJsonBool(u"{\"Locked\":false}", u"locked", true));
}

TEST_F(ReadJsonBoolTest, UnquotedKeyIsNotFound) {
  EXPECT_TRUE(ReadJsonBool(u"{locked:false}", u"locked", true));
}

TEST_F(ReadJsonBoolTest, NumberAndNullReadAsFalseNotTheDefault) {
  EXPECT_FALSE(ReadJsonBool(u"{\"locked\":1}", u"locked", true));
  EXPECT_FALSE(ReadJsonBool(u"{\"locked\":null}", u"locked", true));
}

TEST_F(ReadJsonBoolTest, ValueLetterCaseMatters) {
  EXPECT_FALSE(ReadJsonBool(u"{\"locked\":TRUE}", u"locked", true));
}

TEST_F(ReadJsonBoolTest, AnythingThatStartsWithTrueReadsAsTrue) {
  EXPECT_TRUE(ReadJsonBool(u"{\"locked\":truest}", u"locked", false));
  EXPECT_TRUE(ReadJsonBool(u"{\"locked\":true", u"locked", false));
}

TEST_F(ReadJsonBoolTest, TruncatedTrueAtTheEndReadsAsFalse) {
  EXPECT_FALSE(ReadJsonBool(u"{\"locked\":tru", u"locked", true));
}

TEST_F(ReadJsonBoolTest, MissingColonGivesTheDefault) {
  EXPECT_TRUE(ReadJsonBool(u"{\"locked\" false}", u"locked", true));
  EXPECT_FALSE(ReadJsonBool(u"{\"locked\" true}", u"locked", false));
}

TEST_F(ReadJsonBoolTest, NeedleAtTheEndOfTheTextGivesTheDefault) {
  EXPECT_TRUE(ReadJsonBool(u"{\"a\":false,\"locked\"", u"locked", true));
  EXPECT_FALSE(ReadJsonBool(u"{\"a\":true,\"locked\"", u"locked", false));
}

TEST_F(ReadJsonBoolTest, ColonIsSearchedPastOtherText) {
  EXPECT_TRUE(ReadJsonBool(u"{\"locked\" , \"x\": true}", u"locked", false));
}

TEST_F(ReadJsonBoolTest, KeyInsideAnotherValueIsFoundFirst) {
  // The first "locked" is a value; the colon after it belongs to "ok".
  EXPECT_FALSE(
      ReadJsonBool(u"{\"state\":\"locked\",\"ok\":false,\"locked\":true}", u"locked", true));
}

TEST_F(ReadJsonBoolTest, FirstOccurrenceOfTheKeyWins) {
  EXPECT_FALSE(ReadJsonBool(u"{\"locked\":false,\"locked\":true}", u"locked", true));
}

// ---- ReadJsonString ----

TEST_F(ReadJsonStringTest, ReadsAPlainValue) {
  EXPECT_EQ(ReadJsonString(u"{\"locked\":true,\"passwordHash\":\"abc123\"}", u"passwordHash"),
            u"abc123");
}

TEST_F(ReadJsonStringTest, BlanksAroundTheValueAreSkippedUpToTheQuote) {
  EXPECT_EQ(ReadJsonString(u"{ \"passwordHash\" :\r\n \"abc\" }", u"passwordHash"), u"abc");
}

TEST_F(ReadJsonStringTest, ValueIsGivenUnchanged) {
  EXPECT_EQ(ReadJsonString(u"{\"passwordHash\":\" AbC \u00E4 \"}", u"passwordHash"),
            u" AbC \u00E4 ");
}

TEST_F(ReadJsonStringTest, EmptyValueGivesEmpty) {
  EXPECT_EQ(ReadJsonString(u"{\"passwordHash\":\"\",\"x\":\"y\"}", u"passwordHash"), u"");
}

TEST_F(ReadJsonStringTest, NullValueTakesTheNextFieldsKey) {
  EXPECT_EQ(ReadJsonString(u"{\"passwordHash\":null,\"locked\":true}", u"passwordHash"), u"locked");
}

TEST_F(ReadJsonStringTest, NumberValueTakesTheNextQuotedText) {
  EXPECT_EQ(ReadJsonString(u"{\"passwordHash\":42,\"note\":\"x\"}", u"passwordHash"), u"note");
}

TEST_F(ReadJsonStringTest, MissingKeyGivesEmpty) {
  EXPECT_EQ(ReadJsonString(u"{\"hash\":\"abc\"}", u"passwordHash"), u"");
  EXPECT_EQ(ReadJsonString(u"", u"passwordHash"), u"");
}

TEST_F(ReadJsonStringTest, KeyIsMatchedWithLetterCase) {
  EXPECT_EQ(ReadJsonString(u"{\"PasswordHash\":\"abc\"}", u"passwordHash"), u"");
}

TEST_F(ReadJsonStringTest, MissingColonGivesEmpty) {
  EXPECT_EQ(ReadJsonString(u"{\"passwordHash\" \"abc\"}", u"passwordHash"), u"");
}

TEST_F(ReadJsonStringTest, NeedleAtTheEndOfTheTextGivesEmpty) {
  EXPECT_EQ(ReadJsonString(u"{\"a\":\"b\",\"passwordHash\"", u"passwordHash"), u"");
}

TEST_F(ReadJsonStringTest, ColonAtTheEndGivesEmpty) {
  EXPECT_EQ(ReadJsonString(u"{\"passwordHash\":", u"passwordHash"), u"");
}

TEST_F(ReadJsonStringTest, NoOpeningQuoteGivesEmpty) {
  EXPECT_EQ(ReadJsonString(u"{\"passwordHash\":abc}", u"passwordHash"), u"");
}

TEST_F(ReadJsonStringTest, NoClosingQuoteGivesEmpty) {
  EXPECT_EQ(ReadJsonString(u"{\"passwordHash\":\"abc", u"passwordHash"), u"");
}

TEST_F(ReadJsonStringTest, EscapesAreNotHandled) {
  EXPECT_EQ(ReadJsonString(u"{\"passwordHash\":\"a\\\"b\"}", u"passwordHash"), u"a\\");
  EXPECT_EQ(ReadJsonString(u"{\"passwordHash\":\"a\\u0041\"}", u"passwordHash"), u"a\\u0041");
}

TEST_F(ReadJsonStringTest, KeyInsideAnotherValueIsFoundFirst) {
  // The first "passwordHash" is a value; the colon after it belongs to "mode".
  EXPECT_EQ(ReadJsonString(u"{\"hint\":\"passwordHash\",\"mode\":\"x\",\"passwordHash\":\"real\"}",
                           u"passwordHash"),
            u"x");
}

TEST_F(ReadJsonStringTest, FirstOccurrenceOfTheKeyWins) {
  EXPECT_EQ(ReadJsonString(u"{\"passwordHash\":\"one\",\"passwordHash\":\"two\"}", u"passwordHash"),
            u"one");
}

// ---- IsPseudoLockLocked and ReadLockPasswordHash ----

TEST_F(PseudoLockState, MissingFileMeansLockedWithoutPassword) {
  EXPECT_TRUE(IsPseudoLockLocked());
  EXPECT_EQ(ReadLockPasswordHash(), u"");
}

TEST_F(PseudoLockState, ReadsBothFields) {
  SetLockFile(false, kSecretDigest);
  EXPECT_FALSE(IsPseudoLockLocked());
  EXPECT_EQ(ReadLockPasswordHash(), Wide(kSecretDigest));
}

TEST_F(PseudoLockState, ByteOrderMarkFileReadsTheSameAsWithout) {
  sim::SetFile(kLockPath, "\xEF\xBB\xBF{\"locked\":false,\"passwordHash\":\"abc\"}");
  EXPECT_FALSE(IsPseudoLockLocked());
  EXPECT_EQ(ReadLockPasswordHash(), u"abc");
}

TEST_F(PseudoLockState, SpacedTrueReadsAsLocked) {
  sim::SetFile(kLockPath, "{\"locked\": true }");
  EXPECT_TRUE(IsPseudoLockLocked());
}

TEST_F(PseudoLockState, QuotedTrueReadsAsUnlocked) {
  sim::SetFile(kLockPath, "{\"locked\":\"true\"}");
  EXPECT_FALSE(IsPseudoLockLocked());
}

TEST_F(PseudoLockState, HalfWrittenFileReadsAsLocked) {
  sim::SetFile(kLockPath, "{\"locked\":");
  EXPECT_TRUE(IsPseudoLockLocked());
  EXPECT_EQ(ReadLockPasswordHash(), u"");
}

TEST_F(PseudoLockState, FileIsReadAnewAtEachCall) {
  SetLockFile(true, "first");
  EXPECT_TRUE(IsPseudoLockLocked());
  EXPECT_EQ(ReadLockPasswordHash(), u"first");
  SetLockFile(false, "second");
  EXPECT_FALSE(IsPseudoLockLocked());
  EXPECT_EQ(ReadLockPasswordHash(), u"second");
}

TEST_F(PseudoLockState, FileHeldWithoutSharingReadsAsDefaults) {
  SetLockFile(false, "abc");
  sim::HoldOpenByOtherProcess(kLockPath, false);
  EXPECT_TRUE(IsPseudoLockLocked());
  EXPECT_EQ(ReadLockPasswordHash(), u"");
}

// ---- WritePseudoLockState ----

TEST_F(WritePseudoLockStateTest, WritesTheExactLineWhenLocking) {
  SetLockFile(false, kSecretDigest);
  WritePseudoLockState(true);
  EXPECT_EQ(sim::GetFile(kLockPath),
            "{\"locked\":true,\"passwordHash\":\"" + kSecretDigest + "\"}");
}

TEST_F(WritePseudoLockStateTest, WritesTheExactLineWhenUnlocking) {
  SetLockFile(true, kSecretDigest);
  WritePseudoLockState(false);
  EXPECT_EQ(sim::GetFile(kLockPath),
            "{\"locked\":false,\"passwordHash\":\"" + kSecretDigest + "\"}");
}

TEST_F(WritePseudoLockStateTest, KeepsTheHashAndDropsOtherFields) {
  sim::SetFile(kLockPath,
               "{\n  \"locked\": true,\n  \"owner\": \"admin\",\n  \"passwordHash\": \"abc\",\n"
               "  \"since\": 1700000000\n}\n");
  WritePseudoLockState(false);
  EXPECT_EQ(sim::GetFile(kLockPath), "{\"locked\":false,\"passwordHash\":\"abc\"}");
}

TEST_F(WritePseudoLockStateTest, MissingFileIsCreatedWithAnEmptyHash) {
  sim::AddDirectory(kFolder);
  WritePseudoLockState(false);
  EXPECT_EQ(sim::GetFile(kLockPath), "{\"locked\":false,\"passwordHash\":\"\"}");
}

TEST_F(WritePseudoLockStateTest, MissingFolderWritesNothing) {
  WritePseudoLockState(false);
  EXPECT_EQ(sim::GetFile(kLockPath), std::nullopt);
}

TEST_F(WritePseudoLockStateTest, ReadOnlyFileKeepsItsContent) {
  const std::string original = "{\"locked\":true,\"passwordHash\":\"abc\",\"x\":1}";
  sim::SetFile(kLockPath, original);
  sim::SetReadOnly(kLockPath, true);
  WritePseudoLockState(false);
  EXPECT_EQ(sim::GetFile(kLockPath), original);
}

TEST_F(WritePseudoLockStateTest, FileHeldWithoutSharedWriteKeepsItsContent) {
  const std::string original = "{\"locked\":true,\"passwordHash\":\"abc\",\"x\":1}";
  sim::SetFile(kLockPath, original);
  sim::HoldOpenByOtherProcess(kLockPath, false);
  WritePseudoLockState(false);
  EXPECT_EQ(sim::GetFile(kLockPath), original);
}

TEST_F(WritePseudoLockStateTest, HashWithBackslashIsWrittenAsItStands) {
  sim::SetFile(kLockPath, "{\"locked\":true,\"passwordHash\":\"a\\\\b\\\"c\"}");
  WritePseudoLockState(false);
  // The reader stops at the escaped quote and the writer adds no escapes of its own.
  EXPECT_EQ(sim::GetFile(kLockPath), "{\"locked\":false,\"passwordHash\":\"a\\\\b\\\"}");
}

TEST_F(WritePseudoLockStateTest, NonAsciiHashIsWrittenAsUtf8) {
  sim::SetFile(kLockPath, "{\"passwordHash\":\"h\xC3\xA4sh\xF0\x9F\x94\x92\"}");
  WritePseudoLockState(true);
  EXPECT_EQ(sim::GetFile(kLockPath),
            "{\"locked\":true,\"passwordHash\":\"h\xC3\xA4sh\xF0\x9F\x94\x92\"}");
}

TEST_F(WritePseudoLockStateTest, ByteOrderMarkIsNotWrittenBack) {
  sim::SetFile(kLockPath, "\xEF\xBB\xBF{\"locked\":true,\"passwordHash\":\"abc\"}");
  WritePseudoLockState(false);
  EXPECT_EQ(sim::GetFile(kLockPath), "{\"locked\":false,\"passwordHash\":\"abc\"}");
}

TEST_F(WritePseudoLockStateTest, WritesToTheFallbackPathWhenTheLookupFails) {
  sim::SetCommonAppDataFolder(std::nullopt);
  sim::AddDirectory(u"C:\\KelvoTarnel");
  sim::SetFile(u"C:\\KelvoTarnel\\pseudo_lock.json", "{\"locked\":true,\"passwordHash\":\"abc\"}");
  WritePseudoLockState(false);
  EXPECT_EQ(sim::GetFile(u"C:\\KelvoTarnel\\pseudo_lock.json"),
            "{\"locked\":false,\"passwordHash\":\"abc\"}");
  EXPECT_EQ(sim::GetFile(kLockPath), std::nullopt);
}

TEST_F(WritePseudoLockStateTest, WrittenStateReadsBack) {
  SetLockFile(true, kSecretDigest);
  WritePseudoLockState(false);
  EXPECT_FALSE(IsPseudoLockLocked());
  EXPECT_EQ(ReadLockPasswordHash(), Wide(kSecretDigest));
  WritePseudoLockState(true);
  EXPECT_TRUE(IsPseudoLockLocked());
  EXPECT_EQ(ReadLockPasswordHash(), Wide(kSecretDigest));
}

// ---- Sha256Hex ----

TEST_F(Sha256HexTest, EmptyTextHashesAsZeroBytes) { EXPECT_EQ(Sha256Hex(u""), kEmptyDigest); }

TEST_F(Sha256HexTest, AbcGivesTheKnownLowerCaseDigest) { EXPECT_EQ(Sha256Hex(u"abc"), kAbcDigest); }

TEST_F(Sha256HexTest, NonAsciiPasswordIsHashedOverItsUtf8Bytes) {
  const std::u16string digest = Sha256Hex(u"p\u00E4ssw\u00F6rd");
  EXPECT_EQ(digest, Wide(kPasswordUtf8Digest));
  EXPECT_NE(digest, Wide(kPasswordLatin1Digest));
}

TEST_F(Sha256HexTest, CharacterOutsideTheBasicPlaneIsHashedOverItsUtf8Bytes) {
  EXPECT_EQ(Sha256Hex(u"\U0001F512"), kLockEmojiDigest);
}

TEST_F(Sha256HexTest, ProviderFailureGivesEmpty) {
  sim::SetSha256Fails(true);
  EXPECT_EQ(Sha256Hex(u"abc"), u"");
}

TEST_F(Sha256HexTest, UnpairedSurrogateConvertsToNothingAndHashesAsZeroBytes) {
  EXPECT_EQ(Sha256Hex(std::u16string(1, char16_t{0xD800})), kEmptyDigest);
  EXPECT_EQ(Sha256Hex(u"ab" + std::u16string(1, char16_t{0xDC00})), kEmptyDigest);
}

// ---- ReadUninstallPasswordHash ----

TEST_F(UninstallPasswordHash, TakesTheUninstallAuthDigest) {
  SetAuthFile("AbCdEf");
  SetLockFile(true, kSecretDigest);
  EXPECT_EQ(ReadUninstallPasswordHash(), u"AbCdEf");
}

TEST_F(UninstallPasswordHash, FallsBackToTheLockDigestWhenUninstallAuthIsMissing) {
  SetLockFile(true, kSecretDigest);
  EXPECT_EQ(ReadUninstallPasswordHash(), Wide(kSecretDigest));
}

TEST_F(UninstallPasswordHash, FallsBackToTheLockDigestWhenUninstallAuthHasNone) {
  sim::SetFile(kAuthPath, "{\"version\":2}");
  SetLockFile(true, kSecretDigest);
  EXPECT_EQ(ReadUninstallPasswordHash(), Wide(kSecretDigest));
}

TEST_F(UninstallPasswordHash, FallsBackToTheLockDigestWhenUninstallAuthValueIsEmpty) {
  SetAuthFile("");
  SetLockFile(true, kSecretDigest);
  EXPECT_EQ(ReadUninstallPasswordHash(), Wide(kSecretDigest));
}

TEST_F(UninstallPasswordHash, NoFilesAtAllGiveTheBuiltInDigest) {
  EXPECT_EQ(ReadUninstallPasswordHash(), kBuiltInDigest);
}

TEST_F(UninstallPasswordHash, FilesWithoutDigestsGiveTheBuiltInDigest) {
  sim::SetFile(kAuthPath, "{}");
  sim::SetFile(kLockPath, "{\"locked\":true}");
  EXPECT_EQ(ReadUninstallPasswordHash(), kBuiltInDigest);
}

TEST_F(UninstallPasswordHash, NullUninstallDigestReadsAsTheNextKey) {
  sim::SetFile(kAuthPath, "{\"passwordHash\":null,\"updated\":\"2024\"}");
  SetLockFile(true, kSecretDigest);
  EXPECT_EQ(ReadUninstallPasswordHash(), u"updated");
}

// ---- VerifyUninstallPassword ----

TEST_F(VerifyUninstallPasswordTest, MatchingPasswordExitsZero) {
  SetAuthFile(kSecretDigest);
  SetArguments({u"--verify-uninstall-password", u"secret"});
  EXPECT_EQ(VerifyUninstallPassword(), 0);
}

TEST_F(VerifyUninstallPasswordTest, WrongPasswordExitsOne) {
  SetAuthFile(kSecretDigest);
  SetArguments({u"--verify-uninstall-password", u"Secret"});
  EXPECT_EQ(VerifyUninstallPassword(), 1);
}

TEST_F(VerifyUninstallPasswordTest, EmptyQuotedPasswordExitsTwo) {
  SetAuthFile(std::string(kEmptyDigest.begin(), kEmptyDigest.end()));
  SetArguments({u"--verify-uninstall-password", u""});
  EXPECT_EQ(VerifyUninstallPassword(), 2);
}

TEST_F(VerifyUninstallPasswordTest, OptionAsLastArgumentExitsTwo) {
  SetAuthFile(kSecretDigest);
  SetArguments({u"--verify-uninstall-password"});
  EXPECT_EQ(VerifyUninstallPassword(), 2);
}

TEST_F(VerifyUninstallPasswordTest, NoOptionExitsTwo) {
  SetAuthFile(kSecretDigest);
  SetArguments({u"secret"});
  EXPECT_EQ(VerifyUninstallPassword(), 2);
}

TEST_F(VerifyUninstallPasswordTest, UnparsableCommandLineExitsTwo) {
  SetAuthFile(kSecretDigest);
  sim::SetCommandLineSplitFails(true);
  EXPECT_EQ(VerifyUninstallPassword(), 2);
}

TEST_F(VerifyUninstallPasswordTest, ValueAfterAnEqualsSignIsThePassword) {
  SetAuthFile(kSecretDigest);
  SetArguments({u"--verify-uninstall-password=secret"});
  EXPECT_EQ(VerifyUninstallPassword(), 0);
}

TEST_F(VerifyUninstallPasswordTest, OptionNameInAnyLetterCase) {
  SetAuthFile(kSecretDigest);
  SetArguments({u"--Verify-Uninstall-PASSWORD", u"secret"});
  EXPECT_EQ(VerifyUninstallPassword(), 0);
}

TEST_F(VerifyUninstallPasswordTest, UpperCaseStoredDigestMatches) {
  SetAuthFile(Upper(kSecretDigest));
  SetArguments({u"--verify-uninstall-password", u"secret"});
  EXPECT_EQ(VerifyUninstallPassword(), 0);
}

TEST_F(VerifyUninstallPasswordTest, NonAsciiPasswordIsHashedOverItsUtf8Bytes) {
  SetAuthFile(kPasswordUtf8Digest);
  SetArguments({u"--verify-uninstall-password", u"p\u00E4ssw\u00F6rd"});
  EXPECT_EQ(VerifyUninstallPassword(), 0);
}

TEST_F(VerifyUninstallPasswordTest, NonAsciiPasswordDoesNotMatchItsLatin1Digest) {
  SetAuthFile(kPasswordLatin1Digest);
  SetArguments({u"--verify-uninstall-password", u"p\u00E4ssw\u00F6rd"});
  EXPECT_EQ(VerifyUninstallPassword(), 1);
}

TEST_F(VerifyUninstallPasswordTest, HashFailureExitsThree) {
  SetAuthFile(kSecretDigest);
  SetArguments({u"--verify-uninstall-password", u"secret"});
  sim::SetSha256Fails(true);
  EXPECT_EQ(VerifyUninstallPassword(), 3);
}

TEST_F(VerifyUninstallPasswordTest, NoFilesAtAllWrongPasswordExitsOneAgainstTheBuiltInDigest) {
  SetArguments({u"--verify-uninstall-password", u"secret"});
  ASSERT_EQ(ReadUninstallPasswordHash(), kBuiltInDigest);
  EXPECT_EQ(VerifyUninstallPassword(), 1);
}

TEST_F(VerifyUninstallPasswordTest, NoFilesAtAllEmptyPasswordStillExitsTwo) {
  SetArguments({u"--verify-uninstall-password", u""});
  EXPECT_EQ(VerifyUninstallPassword(), 2);
}

TEST_F(VerifyUninstallPasswordTest, LockDigestDecidesWhenUninstallAuthHasNone) {
  sim::SetFile(kAuthPath, "{}");
  SetLockFile(true, kSecretDigest);
  SetArguments({u"--verify-uninstall-password", u"secret"});
  EXPECT_EQ(VerifyUninstallPassword(), 0);
}

TEST_F(VerifyUninstallPasswordTest, UninstallDigestWinsOverTheLockDigest) {
  SetAuthFile(std::string(kAbcDigest.begin(), kAbcDigest.end()));
  SetLockFile(true, kSecretDigest);
  SetArguments({u"--verify-uninstall-password", u"secret"});
  EXPECT_EQ(VerifyUninstallPassword(), 1);
  SetArguments({u"--verify-uninstall-password", u"abc"});
  EXPECT_EQ(VerifyUninstallPassword(), 0);
}

TEST_F(VerifyUninstallPasswordTest, StoredDigestWithExtraTextDoesNotMatch) {
  SetAuthFile(kSecretDigest + " ");
  SetArguments({u"--verify-uninstall-password", u"secret"});
  EXPECT_EQ(VerifyUninstallPassword(), 1);
}

TEST_F(VerifyUninstallPasswordTest, StoredDigestEndsAtAnEmbeddedNul) {
  SetAuthFile(kSecretDigest + std::string(1, '\0') + "trailing");
  SetArguments({u"--verify-uninstall-password", u"secret"});
  EXPECT_EQ(VerifyUninstallPassword(), 0);
}

TEST_F(VerifyUninstallPasswordTest, StoredDigestStartingWithNulNeverMatches) {
  SetAuthFile(std::string(1, '\0') + kSecretDigest);
  SetArguments({u"--verify-uninstall-password", u"secret"});
  EXPECT_EQ(VerifyUninstallPassword(), 1);
}

}  // namespace
