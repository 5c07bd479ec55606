#include "installer/path_list.h"

#include <gtest/gtest.h>

#include <string>

namespace veyrin::test {
namespace {

using installer::add_folder;
using installer::remove_folder;

constexpr const wchar_t* folder = L"C:\\Users\\Zoë\\Programs\\veyrin-video-converter";

TEST(PathList, FolderGoesBehindTheOthers) {
  EXPECT_EQ(add_folder(L"C:\\a;%USERPROFILE%\\b", folder), std::wstring(L"C:\\a;%USERPROFILE%\\b;") + folder);
  EXPECT_EQ(add_folder(L"", folder), folder);
  EXPECT_EQ(add_folder(L"C:\\a;", folder), std::wstring(L"C:\\a;") + folder);
}

TEST(PathList, FolderThatIsThereIsNotAddedAgain) {
  for (const std::wstring there : {L"c:\\tools\\V;C:\\b", L"C:\\b;C:\\Tools\\v\\", L"C:\\b;\"C:\\Tools\\V\""})
    EXPECT_EQ(add_folder(there, L"C:\\Tools\\V"), there);
}

TEST(PathList, RemovingIsTheReverseOfAdding) {
  for (const std::wstring before : {L"", L"C:\\a", L"C:\\a;;C:\\b", L"\"C:\\with;semicolon\";C:\\b"})
    EXPECT_EQ(remove_folder(add_folder(before, folder), folder), before);
}

TEST(PathList, OnlyTheFolderItselfIsRemoved) {
  EXPECT_EQ(remove_folder(L"C:\\v;C:\\v\\bin;C:\\vv;c:\\V\\", L"C:\\v"), L"C:\\v\\bin;C:\\vv");
  EXPECT_EQ(remove_folder(L"\"C:\\v;w\";C:\\v", L"C:\\v"), L"\"C:\\v;w\"");
}

TEST(PathList, LongListsAreKeptWhole) {
  std::wstring list;
  for (int i = 0; i < 1000; ++i) list += L"C:\\a folder with a long name\\" + std::to_wstring(i) + L";";
  list.pop_back();
  EXPECT_EQ(remove_folder(add_folder(list, folder), folder), list);
}

}  // namespace
}  // namespace veyrin::test
