#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

#include "patterns.h"
#include "support/thrown_text.h"
#include "test_modules.h"

using namespace testmodules;

namespace {

const std::wstring programPath = wide(fullPath("/proc/self/exe"));
const std::wstring modulePath = wide(fullPath(QN_TEST_MODULE));

using ModuleLibrary = WithTestModule;

QN_IMAGE_INFO infoOf(const cHandle& image) {
  QN_IMAGE_INFO info{};
  EXPECT_TRUE(qnGetImageInfo(image.handle, &info));
  return info;
}

}  // namespace

TEST(ResourceLibrary, TheDefaultLibraryIsTheMainProgram) {
  cResourceLibrary& library = cResourceLibrary::defaultResourceLibrary();
  EXPECT_EQ(static_cast<HINSTANCE>(library.handle()), GetModuleHandleW(nullptr));
  EXPECT_TRUE(library.isOpen());
  EXPECT_EQ(std::wstring(library.fileName().c_str()), programPath);
  EXPECT_EQ(std::wstring(library.loadString(1).c_str()), L"Main program string");
  EXPECT_EQ(std::wstring(cResourceLibrary().loadString(1).c_str()), L"Main program string");

  // A library made inside a plug-in reads the executable, not the plug-in.
  HMODULE plugin = LoadLibraryW(wide(QN_TEST_PLUGIN).c_str());
  ASSERT_NE(plugin, nullptr) << GetLastError();
  auto pluginString = reinterpret_cast<int (*)(wchar_t*, int)>(
      reinterpret_cast<void*>(GetProcAddress(plugin, "qnTestPluginString")));
  ASSERT_NE(pluginString, nullptr);
  wchar_t text[64];
  EXPECT_EQ(pluginString(text, 64), 19);
  EXPECT_STREQ(text, L"Main program string");
  EXPECT_EQ(std::wstring(cResourceLibrary(cModuleHandle(plugin)).loadString(1).c_str()), L"Plug-in string");
  FreeLibrary(plugin);
}

TEST(ResourceLibrary, SettingTheDefaultReplacesAndOwnsIt) {
  HMODULE module = LoadLibraryW(wide(QN_TEST_MODULE).c_str());
  ASSERT_NE(module, nullptr);
  const cResourceLibrary* before = &cResourceLibrary::defaultResourceLibrary();
  const cResourceId early(1);
  EXPECT_EQ(&early.resourceLibrary(), before);

  cResourceLibrary::setDefaultResourceLibrary(new cResourceLibrary(cModuleHandle(module)));
  EXPECT_EQ(static_cast<HINSTANCE>(cResourceLibrary::defaultResourceLibrary().handle()), module);
  EXPECT_EQ(&early.resourceLibrary(), before) << "an id keeps the library of its moment";
  // A plain number reads the main program; an id reads the default library.
  EXPECT_EQ(std::wstring(cResourceString(1).c_str()), L"Main program string");
  EXPECT_EQ(std::wstring(cResourceString(cResourceId(1)).c_str()), L"Hello from the module");
  // The default handed in again is kept, not destroyed.
  cResourceLibrary::setDefaultResourceLibrary(&cResourceLibrary::defaultResourceLibrary());
  EXPECT_EQ(static_cast<HINSTANCE>(cResourceLibrary::defaultResourceLibrary().handle()), module);

  cResourceLibrary::setDefaultResourceLibrary(nullptr);
  EXPECT_EQ(static_cast<HINSTANCE>(cResourceLibrary::defaultResourceLibrary().handle()), GetModuleHandleW(nullptr));
  EXPECT_EQ(std::wstring(cResourceString(cResourceId(1)).c_str()), L"Main program string");
  FreeLibrary(module);
}

TEST_F(ModuleLibrary, StringsAndTheirFailures) {
  const cResourceLibrary library{cModuleHandle(module)};
  EXPECT_EQ(std::wstring(library.fileName().c_str()), modulePath);
  EXPECT_EQ(std::wstring(library.loadString(1).c_str()), L"Hello from the module");
  const cString cut = library.loadString(100);
  EXPECT_EQ(cut.length(), 4095u) << "a longer string is cut to 4095 characters";
  EXPECT_EQ(cut[4094], patterns::longStringChar(4094));
  // Missing and empty look the same.
  EXPECT_TRUE(library.loadString(3).isEmpty());
  EXPECT_TRUE(library.tryToLoadString(3).isEmpty());
  // The whole id goes to LoadStringW, which reads only its low 16 bits.
  EXPECT_EQ(std::wstring(library.loadString(0x10001).c_str()), L"Hello from the module");

  // A module without a file name: loadString throws while it words the
  // miss, tryToLoadString does not.
  HMODULE data = LoadLibraryExW(wide(QN_TEST_RES).c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  ASSERT_NE(data, nullptr);
  const cResourceLibrary dataLibrary{cModuleHandle(data)};
  EXPECT_EQ(std::wstring(dataLibrary.loadString(1).c_str()), L"Hello from the module");
  EXPECT_EQ(thrownText([&] { dataLibrary.loadString(3); }), L"cResourceLibrary :: fileName():: GetModuleFileName failed");
  EXPECT_TRUE(dataLibrary.tryToLoadString(3).isEmpty());
  EXPECT_EQ(thrownText([&] { dataLibrary.fileName(); }), L"cResourceLibrary :: fileName():: GetModuleFileName failed");
  FreeLibrary(data);
  const cResourceLibrary nowhere{cModuleHandle()};
  EXPECT_TRUE(nowhere.tryToLoadString(1).isEmpty());
}

TEST_F(ModuleLibrary, MessagesComeFromTheMessageTable) {
  const cResourceLibrary library{cModuleHandle(module)};
  EXPECT_EQ(thrownText([&] { cResourceLibrary().loadMessage(5); }),
            L"cResourceLibrary() :: loadMessage - Message Id 5 not Found in " + programPath + L"!");
  EXPECT_EQ(thrownText([&] { library.loadMessage(77); }),
            L"cResourceLibrary() :: loadMessage - Message Id 77 not Found in " + modulePath + L"!");
  EXPECT_EQ(std::wstring(library.loadMessage(1).c_str()), L"The first message, with an insert: %1.\r\n")
      << "inserts stay, nothing is trimmed";
}

TEST_F(ModuleLibrary, IconsCursorsAndBitmaps) {
  const cResourceLibrary library{cModuleHandle(module)};
  cPointerHandle icon = library.loadIcon(1, 16, 16, 0);
  ASSERT_TRUE(icon.isValid());
  EXPECT_EQ(infoOf(icon).type, static_cast<UINT>(IMAGE_ICON));
  EXPECT_EQ(infoOf(icon).width, 16);

  // 0x10001 names icon 1; the text of a miss shows the full id.
  cPointerHandle same = library.loadIcon(0x10001, 32, 32, 0);
  ASSERT_TRUE(same.isValid());
  EXPECT_EQ(infoOf(same).width, 32);
  EXPECT_EQ(thrownText([&] { library.loadIcon(0x109A9, 0, 0, 0); }),
            L"cResourceLibrary() :: loadIcon Id 68009 (0x109a9) not Found in " + modulePath + L"!");
  EXPECT_EQ(thrownText([&] { library.loadPointer(401); }),
            L"cResourceLibrary() :: loadIcon Id 401 (0x191) not Found in " + modulePath + L"!");
  EXPECT_FALSE(library.tryToLoadIcon(999, 0, 0, 0).isValid());

  // A cursor answers a request for an icon of its id.
  cPointerHandle cursor = library.tryToLoadIcon(200, 0, 0, 0);
  ASSERT_TRUE(cursor.isValid());
  EXPECT_EQ(infoOf(cursor).type, static_cast<UINT>(IMAGE_CURSOR));
  EXPECT_EQ(infoOf(cursor).xHotspot, patterns::CursorHotX);
  cPointerHandle pointer = library.loadPointer(200);
  EXPECT_EQ(infoOf(pointer).width, 32) << "width 0, height 0, flags 0: the image's own size";

  cBitmapHandle bitmap = library.loadBitmap(0x10190, 0, 0, 0);
  ASSERT_TRUE(bitmap.isValid()) << "0x10190 names bitmap 400";
  EXPECT_EQ(infoOf(bitmap).width, 5);
  EXPECT_FALSE(library.loadBitmap(999, 0, 0, 0).isValid()) << "a missing bitmap does not throw";
  EXPECT_FALSE(library.tryToLoadBitmap(999, 0, 0, 0).isValid());

  for (const cHandle* h : {&icon, &same, &cursor, &pointer}) DestroyIcon(static_cast<HICON>(h->handle));
  DeleteObject(bitmap.handle);
}

TEST_F(ModuleLibrary, AnimatedCursors) {
  const cResourceLibrary library{cModuleHandle(module)};
  cPointerHandle spinner = library.loadAnimatedCursor(300);
  ASSERT_TRUE(spinner.isValid());
  const QN_IMAGE_INFO info = infoOf(spinner);
  EXPECT_EQ(info.type, static_cast<UINT>(IMAGE_CURSOR));
  EXPECT_EQ(info.frames, static_cast<UINT>(patterns::AniFrames));
  EXPECT_EQ(info.width, 32);
  DestroyCursor(static_cast<HCURSOR>(spinner.handle));
  EXPECT_EQ(thrownText([&] { library.loadAnimatedCursor(301); }),
            L"cResourceLibrary() :: loadAnimatedCursor Id 301 (0x12d) not Found in " + modulePath + L"!")
      << "bytes the platform refuses";
  EXPECT_EQ(thrownText([&] { library.loadAnimatedCursor(0x10514); }),
            L"cResourceLibrary() :: loadAnimatedCursor Id 66836 (0x10514) not Found in " + modulePath + L"!");
}

TEST(ResourceLibrary, CopiesAndAssignmentsTakeTheHandle) {
  HMODULE platform = GetModuleHandleW(L"libqnplatform.so");
  cResourceLibrary a{cModuleHandle(platform)};
  cResourceLibrary b(a);
  EXPECT_EQ(static_cast<HINSTANCE>(b.handle()), platform);
  cResourceLibrary c;
  c = a;
  EXPECT_EQ(static_cast<HINSTANCE>(c.handle()), platform);
  cResourceLibrary& alias = c;
  c = alias;
  EXPECT_EQ(static_cast<HINSTANCE>(c.handle()), platform);
}
