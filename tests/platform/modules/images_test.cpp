#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <cstring>
#include <functional>

#include "resources/patterns.h"
#include "resources/test_modules.h"

using namespace testmodules;
using patterns::Rgba;

namespace {

using ModuleImages = WithTestModule;

QN_IMAGE_INFO infoOf(HANDLE image) {
  QN_IMAGE_INFO info{};
  EXPECT_TRUE(qnGetImageInfo(image, &info));
  return info;
}

std::vector<Rgba> pixelsOf(HANDLE image, UINT frame = 0) {
  QN_IMAGE_FRAME f{};
  if (!qnGetImageFrame(image, frame, &f)) return {};
  std::vector<Rgba> pixels(static_cast<std::size_t>(f.width) * static_cast<std::size_t>(f.height));
  EXPECT_TRUE(qnGetImagePixels(image, frame, pixels.data(), static_cast<DWORD>(pixels.size() * 4)));
  return pixels;
}

// Each pixel as the pattern has it, seen through a scaling to the image's size.
void expectPixels(HANDLE image, int sourceWidth, int sourceHeight, const std::function<Rgba(int, int)>& pattern) {
  const QN_IMAGE_INFO info = infoOf(image);
  const auto pixels = pixelsOf(image);
  ASSERT_EQ(pixels.size(), static_cast<std::size_t>(info.width) * static_cast<std::size_t>(info.height));
  for (int y = 0; y < info.height; ++y)
    for (int x = 0; x < info.width; ++x) {
      const Rgba want = pattern(x * sourceWidth / info.width, y * sourceHeight / info.height);
      const Rgba got = pixels[static_cast<std::size_t>(y * info.width + x)];
      ASSERT_EQ(got, want) << "pixel " << x << "," << y << ": got " << int(got.r) << " " << int(got.g) << " "
                           << int(got.b) << " " << int(got.a);
    }
}

std::string bytesOf(HMODULE module, LPCWSTR name, LPCWSTR type) {
  HRSRC resource = FindResourceW(module, name, type);
  const auto data = static_cast<const char*>(LockResource(LoadResource(module, resource)));
  return data ? std::string(data, SizeofResource(module, resource)) : std::string();
}

PBYTE bits(std::string& bytes) { return reinterpret_cast<PBYTE>(bytes.data()); }

}  // namespace

TEST_F(ModuleImages, IconsChooseTheBestImageForTheSize) {
  HANDLE small = LoadImageW(module, MAKEINTRESOURCEW(1), IMAGE_ICON, 16, 16, 0);
  ASSERT_NE(small, nullptr) << GetLastError();
  EXPECT_EQ(infoOf(small).type, static_cast<UINT>(IMAGE_ICON));
  expectPixels(small, 16, 16, patterns::icon16);

  HANDLE medium = LoadImageW(module, MAKEINTRESOURCEW(1), IMAGE_ICON, 32, 32, 0);
  ASSERT_NE(medium, nullptr);
  expectPixels(medium, 32, 32, patterns::icon32);

  HANDLE large = LoadImageW(module, MAKEINTRESOURCEW(1), IMAGE_ICON, 48, 48, 0);
  ASSERT_NE(large, nullptr);
  expectPixels(large, 48, 48, patterns::icon48);  // stored as PNG

  // Between 16 and 32 both are as far; the deeper one wins and is scaled.
  HANDLE between = LoadImageW(module, MAKEINTRESOURCEW(1), IMAGE_ICON, 24, 24, 0);
  ASSERT_NE(between, nullptr);
  EXPECT_EQ(infoOf(between).width, 24);
  expectPixels(between, 32, 32, patterns::icon32);

  // Size 0: the system's size with LR_DEFAULTSIZE, else the image's own
  // (chosen for the system's size).
  for (UINT flags : {0u, static_cast<UINT>(LR_DEFAULTSIZE)}) {
    HANDLE icon = LoadImageW(module, MAKEINTRESOURCEW(1), IMAGE_ICON, 0, 0, flags);
    ASSERT_NE(icon, nullptr);
    EXPECT_EQ(infoOf(icon).width, 32);
    EXPECT_TRUE(DestroyIcon(static_cast<HICON>(icon)));
  }
  HANDLE stretched = LoadImageW(module, MAKEINTRESOURCEW(1), IMAGE_ICON, 64, 20, 0);
  ASSERT_NE(stretched, nullptr);
  EXPECT_EQ(infoOf(stretched).width, 64);
  EXPECT_EQ(infoOf(stretched).height, 20);

  // The group directory answers the same question.
  std::string group = bytesOf(module, MAKEINTRESOURCEW(1), RT_GROUP_ICON);
  ASSERT_FALSE(group.empty());
  const int id16 = LookupIconIdFromDirectoryEx(bits(group), TRUE, 16, 16, 0);
  const int id48 = LookupIconIdFromDirectoryEx(bits(group), TRUE, 50, 50, 0);
  EXPECT_NE(id16, 0);
  EXPECT_NE(id48, id16);
  EXPECT_EQ(LookupIconIdFromDirectory(bits(group), TRUE), LookupIconIdFromDirectoryEx(bits(group), TRUE, 32, 32, 0));
  EXPECT_EQ(LookupIconIdFromDirectoryEx(bits(group), FALSE, 16, 16, 0), 0) << "an icon group is no cursor group";

  for (HANDLE h : {small, medium, large, between, stretched}) EXPECT_TRUE(DestroyIcon(static_cast<HICON>(h)));
}

TEST_F(ModuleImages, CursorsKeepTheirHotSpotAndDoNotAnswerIconRequests) {
  SetLastError(0);
  EXPECT_EQ(LoadImageW(module, MAKEINTRESOURCEW(200), IMAGE_ICON, 0, 0, 0), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_RESOURCE_NAME_NOT_FOUND));

  HANDLE cursor = LoadImageW(module, MAKEINTRESOURCEW(200), IMAGE_CURSOR, 0, 0, 0);
  ASSERT_NE(cursor, nullptr) << GetLastError();
  const QN_IMAGE_INFO info = infoOf(cursor);
  EXPECT_EQ(info.type, static_cast<UINT>(IMAGE_CURSOR));
  EXPECT_EQ(info.xHotspot, patterns::CursorHotX);
  EXPECT_EQ(info.yHotspot, patterns::CursorHotY);
  expectPixels(cursor, 32, 32, patterns::cursor32);

  HANDLE doubled = LoadImageW(module, MAKEINTRESOURCEW(200), IMAGE_CURSOR, 64, 64, 0);
  ASSERT_NE(doubled, nullptr);
  EXPECT_EQ(infoOf(doubled).xHotspot, 2 * patterns::CursorHotX) << "the hot spot scales with the image";

  HCURSOR loaded = LoadCursorW(module, MAKEINTRESOURCEW(200));
  ASSERT_NE(loaded, nullptr);
  EXPECT_EQ(LoadCursorW(module, MAKEINTRESOURCEW(200)), loaded) << "LoadCursor shares its image";
  EXPECT_TRUE(DestroyCursor(loaded));
  QN_IMAGE_INFO still{};
  EXPECT_TRUE(qnGetImageInfo(loaded, &still)) << "a shared cursor outlives DestroyCursor";
  EXPECT_TRUE(DestroyCursor(static_cast<HCURSOR>(cursor)));
  EXPECT_TRUE(DestroyCursor(static_cast<HCURSOR>(doubled)));

  // Resource bits of a cursor: the hot spot comes first.
  HRSRC first = FindResourceW(module, MAKEINTRESOURCEW(1), RT_CURSOR);
  ASSERT_NE(first, nullptr);
  HICON fromBits = CreateIconFromResourceEx(static_cast<PBYTE>(LockResource(LoadResource(module, first))),
                                            SizeofResource(module, first), FALSE, 0x00030000, 0, 0, 0);
  ASSERT_NE(fromBits, nullptr);
  EXPECT_EQ(infoOf(fromBits).xHotspot, patterns::CursorHotX);
  EXPECT_TRUE(DestroyCursor(fromBits));
}

TEST_F(ModuleImages, BitmapsDecodeEveryStoredForm) {
  struct Case {
    WORD id;
    int width, height;
    Rgba (*pattern)(int, int);
  };
  for (const Case& c : {Case{400, 5, 3, patterns::picture}, Case{401, 6, 2, patterns::rle},
                        Case{402, 2, 2, patterns::alphaBitmap}}) {
    SCOPED_TRACE(c.id);
    HANDLE bitmap = LoadImageW(module, MAKEINTRESOURCEW(c.id), IMAGE_BITMAP, 0, 0, 0);
    ASSERT_NE(bitmap, nullptr) << GetLastError();
    const QN_IMAGE_INFO info = infoOf(bitmap);
    EXPECT_EQ(info.type, static_cast<UINT>(IMAGE_BITMAP));
    EXPECT_EQ(info.width, c.width);
    EXPECT_EQ(info.height, c.height);
    expectPixels(bitmap, c.width, c.height, c.pattern);
    EXPECT_FALSE(DestroyIcon(static_cast<HICON>(bitmap))) << "a bitmap is no icon";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_CURSOR_HANDLE));
    EXPECT_TRUE(DeleteObject(bitmap));
    EXPECT_FALSE(DeleteObject(bitmap));
  }
  HBITMAP scaled = static_cast<HBITMAP>(LoadImageW(module, MAKEINTRESOURCEW(400), IMAGE_BITMAP, 10, 6, 0));
  ASSERT_NE(scaled, nullptr);
  expectPixels(scaled, 5, 3, patterns::picture);
  EXPECT_TRUE(DeleteObject(scaled));
  HBITMAP plain = LoadBitmapW(module, MAKEINTRESOURCEW(400));
  ASSERT_NE(plain, nullptr);
  EXPECT_TRUE(DeleteObject(plain));

  SetLastError(0);
  EXPECT_EQ(LoadImageW(module, MAKEINTRESOURCEW(999), IMAGE_BITMAP, 0, 0, 0), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_RESOURCE_NAME_NOT_FOUND));
  EXPECT_EQ(LoadImageW(module, MAKEINTRESOURCEW(400), 7, 0, 0, 0), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(LoadImageW(nullptr, MAKEINTRESOURCEW(400), IMAGE_BITMAP, 0, 0, 0), nullptr) << "no system images";
}

TEST_F(ModuleImages, AnimatedCursorsAndRefusedBytes) {
  std::string ani = bytesOf(module, MAKEINTRESOURCEW(300), L"ANICURSORS");
  ASSERT_FALSE(ani.empty());
  HICON spinner = CreateIconFromResource(bits(ani), static_cast<DWORD>(ani.size()), FALSE, 0x00030000);
  ASSERT_NE(spinner, nullptr) << GetLastError();
  const QN_IMAGE_INFO info = infoOf(spinner);
  EXPECT_EQ(info.type, static_cast<UINT>(IMAGE_CURSOR));
  EXPECT_EQ(info.frames, static_cast<UINT>(patterns::AniFrames));
  EXPECT_EQ(info.steps, static_cast<UINT>(patterns::AniSteps));
  for (UINT f = 0; f < info.frames; ++f) {
    QN_IMAGE_FRAME frame{};
    ASSERT_TRUE(qnGetImageFrame(spinner, f, &frame));
    EXPECT_EQ(frame.width, 32);
    EXPECT_EQ(frame.xHotspot, patterns::aniHotX(static_cast<int>(f)));
    EXPECT_EQ(frame.yHotspot, patterns::aniHotY(static_cast<int>(f)));
    const auto pixels = pixelsOf(spinner, f);
    ASSERT_EQ(pixels.size(), 32u * 32u);
    EXPECT_EQ(pixels[0], patterns::aniFrame(static_cast<int>(f)));
    EXPECT_EQ(pixels.back(), patterns::aniFrame(static_cast<int>(f)));
  }
  for (UINT s = 0; s < info.steps; ++s) {
    UINT frame;
    DWORD jiffies;
    ASSERT_TRUE(qnGetAnimationStep(spinner, s, &frame, &jiffies));
    EXPECT_EQ(frame, static_cast<UINT>(patterns::AniSequence[s]));
    EXPECT_EQ(jiffies, static_cast<DWORD>(patterns::AniRates[s]));
  }
  UINT frame;
  DWORD jiffies;
  EXPECT_FALSE(qnGetAnimationStep(spinner, info.steps, &frame, &jiffies));
  EXPECT_TRUE(DestroyCursor(spinner));
  EXPECT_FALSE(DestroyCursor(spinner));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_CURSOR_HANDLE));

  // A RIFF file that is not "ACON", and bytes that are no image at all.
  std::string refused = bytesOf(module, MAKEINTRESOURCEW(301), L"ANICURSORS");
  ASSERT_FALSE(refused.empty());
  SetLastError(0);
  EXPECT_EQ(CreateIconFromResource(bits(refused), static_cast<DWORD>(refused.size()), FALSE, 0x00030000), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_DATA));
  std::string text = "this is not an icon at all";
  EXPECT_EQ(CreateIconFromResource(bits(text), static_cast<DWORD>(text.size()), TRUE, 0x00030000), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_DATA));
  // The version must lie in [0x20000, 0x30000].
  EXPECT_EQ(CreateIconFromResource(bits(ani), static_cast<DWORD>(ani.size()), FALSE, 0x00010000), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(CreateIconFromResource(nullptr, 100, FALSE, 0x00030000), nullptr);

  // The animation also loads as a cursor resource of its own type.
  EXPECT_EQ(LoadImageW(module, MAKEINTRESOURCEW(300), IMAGE_CURSOR, 0, 0, 0), nullptr)
      << "\"ANICURSORS\" is the application's own type, not RT_ANICURSOR";
}

TEST_F(ModuleImages, IconBitsMakeIconsAtTheAskedSize) {
  const int id = LookupIconIdFromDirectoryEx(
      reinterpret_cast<PBYTE>(LockResource(LoadResource(module, FindResourceW(module, MAKEINTRESOURCEW(1), RT_GROUP_ICON)))),
      TRUE, 16, 16, 0);
  std::string icon = bytesOf(module, MAKEINTRESOURCEW(id), RT_ICON);
  ASSERT_FALSE(icon.empty());
  HICON own = CreateIconFromResourceEx(bits(icon), static_cast<DWORD>(icon.size()), TRUE, 0x00030000, 0, 0, 0);
  ASSERT_NE(own, nullptr);
  EXPECT_EQ(infoOf(own).width, 16);
  expectPixels(own, 16, 16, patterns::icon16);
  HICON system = CreateIconFromResource(bits(icon), static_cast<DWORD>(icon.size()), TRUE, 0x00030000);
  ASSERT_NE(system, nullptr);
  EXPECT_EQ(infoOf(system).width, 32) << "CreateIconFromResource sizes as LR_DEFAULTSIZE";
  expectPixels(system, 16, 16, patterns::icon16);
  HICON mono = CreateIconFromResourceEx(bits(icon), static_cast<DWORD>(icon.size()), TRUE, 0x00030000, 16, 16,
                                        LR_MONOCHROME);
  ASSERT_NE(mono, nullptr);
  for (const Rgba& p : pixelsOf(mono)) EXPECT_TRUE((p.r == 0 || p.r == 255) && p.r == p.g && p.g == p.b);

  std::vector<std::uint8_t> small(8);
  EXPECT_FALSE(qnGetImagePixels(own, 0, small.data(), static_cast<DWORD>(small.size())));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_FALSE(qnGetImagePixels(own, 1, small.data(), static_cast<DWORD>(small.size())));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  for (HICON h : {own, system, mono}) EXPECT_TRUE(DestroyIcon(h));
  EXPECT_FALSE(qnGetImageInfo(own, nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

TEST(ImageFiles, IconCursorBitmapAndAnimationFilesLoadFromDisk) {
  const std::string dir = QN_TEST_DATA;
  HANDLE icon = LoadImageW(nullptr, wide(dir + "/colors.ico").c_str(), IMAGE_ICON, 48, 48, LR_LOADFROMFILE);
  ASSERT_NE(icon, nullptr) << GetLastError();
  expectPixels(icon, 48, 48, patterns::icon48);
  HANDLE cursor = LoadImageW(nullptr, wide(dir + "/pointer.cur").c_str(), IMAGE_CURSOR, 0, 0, LR_LOADFROMFILE);
  ASSERT_NE(cursor, nullptr);
  EXPECT_EQ(infoOf(cursor).xHotspot, patterns::CursorHotX);
  expectPixels(cursor, 32, 32, patterns::cursor32);
  HANDLE bitmap = LoadImageW(nullptr, wide(dir + "/rle.bmp").c_str(), IMAGE_BITMAP, 0, 0, LR_LOADFROMFILE);
  ASSERT_NE(bitmap, nullptr);
  expectPixels(bitmap, 6, 2, patterns::rle);
  HANDLE spinner = LoadImageW(nullptr, wide(dir + "/spinner.ani").c_str(), IMAGE_CURSOR, 0, 0, LR_LOADFROMFILE);
  ASSERT_NE(spinner, nullptr);
  EXPECT_EQ(infoOf(spinner).frames, static_cast<UINT>(patterns::AniFrames));

  SetLastError(0);
  EXPECT_EQ(LoadImageW(nullptr, wide(dir + "/none.ico").c_str(), IMAGE_ICON, 0, 0, LR_LOADFROMFILE), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(LoadImageW(nullptr, wide(dir + "/notacursor.bin").c_str(), IMAGE_CURSOR, 0, 0, LR_LOADFROMFILE), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_DATA));

  EXPECT_TRUE(DestroyIcon(static_cast<HICON>(icon)));
  EXPECT_TRUE(DestroyCursor(static_cast<HCURSOR>(cursor)));
  EXPECT_TRUE(DestroyCursor(static_cast<HCURSOR>(spinner)));
  EXPECT_TRUE(DeleteObject(bitmap));
  EXPECT_FALSE(DestroyIcon(nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_CURSOR_HANDLE));
}

TEST(SharedImages, LiveAsLongAsTheirModuleStaysLoaded) {
  const std::wstring modulePath = wide(QN_TEST_MODULE), pluginPath = wide(QN_TEST_PLUGIN);
  std::vector<HANDLE> earlier;
  for (int cycle = 0; cycle < 20; ++cycle) {
    SCOPED_TRACE("load cycle " + std::to_string(cycle));
    HMODULE module = LoadLibraryW(modulePath.c_str());
    ASSERT_NE(module, nullptr);
    HICON icon = LoadIconW(module, MAKEINTRESOURCEW(1));
    HCURSOR cursor = LoadCursorW(module, MAKEINTRESOURCEW(200));
    HANDLE small = LoadImageW(module, MAKEINTRESOURCEW(1), IMAGE_ICON, 16, 16, LR_SHARED);
    ASSERT_NE(icon, nullptr);
    ASSERT_NE(cursor, nullptr);
    ASSERT_NE(small, nullptr);
    EXPECT_EQ(LoadIconW(module, MAKEINTRESOURCEW(1)), icon) << "shared while the module stays";
    EXPECT_EQ(infoOf(small).width, 16);
    for (HANDLE old : earlier) EXPECT_NE(old, icon) << "a new load has images of its own";
    ASSERT_TRUE(FreeLibrary(module));
    ASSERT_FALSE(isLoaded(QN_TEST_MODULE));
    for (HANDLE gone : {static_cast<HANDLE>(icon), static_cast<HANDLE>(cursor), small}) {
      QN_IMAGE_INFO info{};
      SetLastError(0);
      EXPECT_FALSE(qnGetImageInfo(gone, &info)) << "a shared image ends with its module";
      EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    }
    earlier.push_back(icon);

    // Another module has no icon, wherever it is loaded.
    HMODULE other = LoadLibraryW(pluginPath.c_str());
    ASSERT_NE(other, nullptr);
    SetLastError(0);
    EXPECT_EQ(LoadIconW(other, MAKEINTRESOURCEW(1)), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_RESOURCE_TYPE_NOT_FOUND));
    ASSERT_TRUE(FreeLibrary(other));
  }
}
