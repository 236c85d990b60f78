#include <qnlith/win32/resources.h>
#include <qnlith/win32/errors.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <tuple>

#include "errors/errors.h"
#include "sync/handles.h"
#include "modules/image_codec.h"
#include "modules/module_table.h"
#include "modules/resources.h"
#include "text/unicode.h"

namespace qn {

namespace {

// Icons, cursors and bitmaps live in the process's handle table beside the
// kernel objects, as objects of their own class.
class ImageObject : public KernelObject {
 public:
  ImageObject(UINT type, DecodedImage image) : KernelObject(ObjectKind::Other), type(type), image(std::move(image)) {}

  const UINT type;
  const DecodedImage image;
  bool shared = false;
};

std::shared_ptr<ImageObject> imageObject(HANDLE handle) {
  auto object = std::dynamic_pointer_cast<ImageObject>(HandleTable::get(handle));
  if (object == nullptr) SetLastError(ERROR_INVALID_HANDLE);
  return object;
}

HANDLE makeImage(UINT type, DecodedImage image) {
  return HandleTable::insert(std::make_shared<ImageObject>(type, std::move(image)));
}

HANDLE failImage(DWORD error) {
  SetLastError(error);
  return nullptr;
}

// The size an image is made at: the asked one, or with 0 the system's
// default (LR_DEFAULTSIZE) or the image's own (0 stays 0).
LONG wantedSize(int asked, UINT flags) {
  if (asked != 0) return asked;
  return (flags & LR_DEFAULTSIZE) ? QN_DEFAULT_ICON_SIZE : 0;
}

bool fitFrame(ImageFrame& frame, LONG width, LONG height, UINT flags) {
  if (!scaleFrame(frame, width != 0 ? width : frame.width, height != 0 ? height : frame.height)) return false;
  if (flags & LR_MONOCHROME) makeMonochrome(frame);
  return true;
}

// Icon or cursor bits, or an animated cursor, as an image object.
HANDLE iconFromBits(Bytes bits, bool icon, int width, int height, UINT flags) {
  const LONG w = wantedSize(width, flags), h = wantedSize(height, flags);
  DecodedImage image;
  if (isAnimatedCursor(bits)) {
    // Frames are chosen for the size; 0 lets each keep its own.
    if (!decodeAnimatedCursor(bits, w != 0 ? w : QN_DEFAULT_ICON_SIZE, h != 0 ? h : QN_DEFAULT_ICON_SIZE,
                              (flags & LR_MONOCHROME) != 0, image))
      return failImage(ERROR_INVALID_DATA);
  } else {
    image.frames.emplace_back();
    if (!decodeIconBits(bits, !icon, image.frames.back())) return failImage(ERROR_INVALID_DATA);
  }
  for (auto& frame : image.frames)
    if (!fitFrame(frame, w, h, flags)) return failImage(ERROR_NOT_ENOUGH_MEMORY);
  return makeImage(icon ? IMAGE_ICON : IMAGE_CURSOR, std::move(image));
}

HANDLE bitmapFromFrame(ImageFrame frame, int width, int height, UINT flags) {
  if (!fitFrame(frame, width, height, flags)) return failImage(ERROR_NOT_ENOUGH_MEMORY);
  DecodedImage image;
  image.frames.push_back(std::move(frame));
  return makeImage(IMAGE_BITMAP, std::move(image));
}

HANDLE loadFromFile(LPCWSTR name, UINT type, int width, int height, UINT flags) {
  if (IS_INTRESOURCE(name)) return failImage(ERROR_INVALID_PARAMETER);
  std::string path = wideToUtf8(name);
  for (char& c : path)
    if (c == '\\') c = '/';
  FILE* stream = std::fopen(path.c_str(), "rb");
  if (stream == nullptr) return failImage(errno == ENOENT ? ERROR_FILE_NOT_FOUND : win32ErrorFromErrno(errno));
  std::vector<BYTE> bytes;
  BYTE chunk[65536];
  for (std::size_t n; (n = std::fread(chunk, 1, sizeof chunk, stream)) > 0;) {
    if (bytes.size() + n > (std::size_t{1} << 30)) {
      std::fclose(stream);
      return failImage(ERROR_NOT_ENOUGH_MEMORY);
    }
    bytes.insert(bytes.end(), chunk, chunk + n);
  }
  std::fclose(stream);
  const Bytes data(bytes.data(), bytes.size());
  if (type == IMAGE_BITMAP) {
    ImageFrame frame;
    if (!decodeBitmapFile(data, frame)) return failImage(ERROR_INVALID_DATA);
    return bitmapFromFrame(std::move(frame), width, height, flags);
  }
  if (isAnimatedCursor(data)) return iconFromBits(data, type == IMAGE_ICON, width, height, flags);
  const LONG w = wantedSize(width, flags), h = wantedSize(height, flags);
  DecodedImage image;
  image.frames.emplace_back();
  bool cursor;
  if (!decodeIconFile(data, w != 0 ? w : QN_DEFAULT_ICON_SIZE, h != 0 ? h : QN_DEFAULT_ICON_SIZE,
                      (flags & LR_MONOCHROME) != 0, cursor, image.frames.back()))
    return failImage(ERROR_INVALID_DATA);
  if (!fitFrame(image.frames.back(), w, h, flags)) return failImage(ERROR_NOT_ENOUGH_MEMORY);
  return makeImage(type, std::move(image));
}

HANDLE loadFromModule(HMODULE module, LPCWSTR name, UINT type, int width, int height, UINT flags) {
  std::shared_ptr<Module> record;
  if (type == IMAGE_BITMAP) {
    const ResourceEntry* entry = findResource(module, RT_BITMAP, name, record);
    if (entry == nullptr) return nullptr;
    ImageFrame frame;
    if (!decodeDib(entry->data, false, frame)) return failImage(ERROR_INVALID_DATA);
    return bitmapFromFrame(std::move(frame), width, height, flags);
  }
  const bool icon = type == IMAGE_ICON;
  const ResourceEntry* group = findResource(module, icon ? RT_GROUP_ICON : RT_GROUP_CURSOR, name, record);
  if (group == nullptr) {
    // An animated cursor or icon stands under its own type.
    const DWORD error = GetLastError();
    const ResourceEntry* animated = findResource(module, icon ? RT_ANIICON : RT_ANICURSOR, name, record);
    if (animated == nullptr) return failImage(error);
    return iconFromBits(animated->data, icon, width, height, flags);
  }
  std::vector<IconDirectoryEntry> entries;
  bool cursor;
  if (!readIconDirectory(group->data, false, cursor, entries) || cursor == icon) return failImage(ERROR_INVALID_DATA);
  // The choice is made for the asked size, or the system's default size.
  const LONG w = width != 0 ? width : QN_DEFAULT_ICON_SIZE, h = height != 0 ? height : QN_DEFAULT_ICON_SIZE;
  const auto& chosen = entries[static_cast<std::size_t>(bestIconEntry(entries, w, h, (flags & LR_MONOCHROME) != 0))];
  const ResourceEntry* bits = findResource(module, icon ? RT_ICON : RT_CURSOR,
                                           MAKEINTRESOURCEW(chosen.idOrOffset), record);
  if (bits == nullptr) return nullptr;
  return iconFromBits(bits->data, icon, width, height, flags);
}

}  // namespace

}  // namespace qn

using namespace qn;

HANDLE WINAPI LoadImageW(HINSTANCE instance, LPCWSTR name, UINT type, int width, int height, UINT flags) {
  if (type > IMAGE_CURSOR || width < 0 || height < 0 || name == nullptr) return failImage(ERROR_INVALID_PARAMETER);
  if (flags & LR_LOADFROMFILE) return loadFromFile(name, type, width, height, flags);
  if (instance == nullptr) return failImage(ERROR_RESOURCE_NAME_NOT_FOUND);  // no system images here
  if (!(flags & LR_SHARED)) return loadFromModule(instance, name, type, width, height, flags);

  ResourceName key;
  if (!ResourceName::fromApi(name, key)) return failImage(ERROR_RESOURCE_NAME_NOT_FOUND);
  // The module's record keeps its shared images and ends them with it.
  const auto record = findModule(instance);
  if (record == nullptr) return nullptr;
  const Module::SharedImageKey id{key.isId, key.id, key.text, type, width, height};
  std::lock_guard guard(record->imagesLock);
  auto it = record->sharedImages.find(id);
  if (it != record->sharedImages.end()) return it->second;
  HANDLE image = loadFromModule(instance, name, type, width, height, flags);
  if (image == nullptr) return nullptr;
  if (auto object = imageObject(image)) object->shared = true;
  record->sharedImages.emplace(id, image);
  return image;
}

HICON WINAPI LoadIconW(HINSTANCE instance, LPCWSTR name) {
  return static_cast<HICON>(LoadImageW(instance, name, IMAGE_ICON, 0, 0, LR_DEFAULTSIZE | LR_SHARED));
}

HCURSOR WINAPI LoadCursorW(HINSTANCE instance, LPCWSTR name) {
  return static_cast<HCURSOR>(LoadImageW(instance, name, IMAGE_CURSOR, 0, 0, LR_DEFAULTSIZE | LR_SHARED));
}

HBITMAP WINAPI LoadBitmapW(HINSTANCE instance, LPCWSTR name) {
  return static_cast<HBITMAP>(LoadImageW(instance, name, IMAGE_BITMAP, 0, 0, 0));
}

int WINAPI LookupIconIdFromDirectory(PBYTE directory, BOOL icon) {
  return LookupIconIdFromDirectoryEx(directory, icon, 0, 0, LR_DEFAULTCOLOR);
}

int WINAPI LookupIconIdFromDirectoryEx(PBYTE directory, BOOL icon, int width, int height, UINT flags) {
  if (directory == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  // The caller vouches for the directory's size; its header gives it.
  WORD count;
  std::memcpy(&count, directory + 4, 2);
  const Bytes data(directory, 6 + std::size_t{count} * 14);
  std::vector<IconDirectoryEntry> entries;
  bool cursor;
  if (!readIconDirectory(data, false, cursor, entries) || cursor == (icon != 0)) {
    SetLastError(ERROR_INVALID_DATA);
    return 0;
  }
  const int chosen = bestIconEntry(entries, width != 0 ? width : QN_DEFAULT_ICON_SIZE,
                                   height != 0 ? height : QN_DEFAULT_ICON_SIZE, (flags & LR_MONOCHROME) != 0);
  return static_cast<int>(entries[static_cast<std::size_t>(chosen)].idOrOffset);
}

HICON WINAPI CreateIconFromResource(PBYTE bits, DWORD size, BOOL icon, DWORD version) {
  return CreateIconFromResourceEx(bits, size, icon, version, 0, 0, LR_DEFAULTSIZE | LR_SHARED);
}

HICON WINAPI CreateIconFromResourceEx(PBYTE bits, DWORD size, BOOL icon, DWORD version, int width, int height,
                                      UINT flags) {
  if (bits == nullptr || size < 4 || version < 0x00020000 || version > 0x00030000 || width < 0 || height < 0)
    return static_cast<HICON>(failImage(ERROR_INVALID_PARAMETER));
  return static_cast<HICON>(iconFromBits(Bytes(bits, size), icon != 0, width, height, flags));
}

namespace {

BOOL destroy(HANDLE handle, bool bitmap, DWORD error) {
  auto object = imageObject(handle);
  if (object == nullptr || (object->type == IMAGE_BITMAP) != bitmap) return failWith(error);
  if (object->shared) return TRUE;  // shared images stay with their module
  return HandleTable::close(handle);
}

}  // namespace

BOOL WINAPI DestroyIcon(HICON icon) { return destroy(icon, false, ERROR_INVALID_CURSOR_HANDLE); }

BOOL WINAPI DestroyCursor(HCURSOR cursor) { return destroy(cursor, false, ERROR_INVALID_CURSOR_HANDLE); }

BOOL WINAPI DeleteObject(HGDIOBJ object) { return destroy(object, true, ERROR_INVALID_HANDLE); }

BOOL WINAPI qnGetImageInfo(HANDLE image, QN_IMAGE_INFO* info) {
  auto object = imageObject(image);
  if (object == nullptr) return FALSE;
  if (info == nullptr) return failWith(ERROR_INVALID_PARAMETER);
  const auto& first = object->image.frames.front();
  info->type = object->type;
  info->width = first.width;
  info->height = first.height;
  info->xHotspot = first.xHotspot;
  info->yHotspot = first.yHotspot;
  info->frames = static_cast<UINT>(object->image.frames.size());
  info->steps = object->image.steps.empty() ? 1 : static_cast<UINT>(object->image.steps.size());
  return TRUE;
}

BOOL WINAPI qnGetImageFrame(HANDLE image, UINT frame, QN_IMAGE_FRAME* info) {
  auto object = imageObject(image);
  if (object == nullptr) return FALSE;
  if (info == nullptr || frame >= object->image.frames.size()) return failWith(ERROR_INVALID_PARAMETER);
  const auto& f = object->image.frames[frame];
  *info = QN_IMAGE_FRAME{f.width, f.height, f.xHotspot, f.yHotspot};
  return TRUE;
}

BOOL WINAPI qnGetImagePixels(HANDLE image, UINT frame, void* rgba, DWORD size) {
  auto object = imageObject(image);
  if (object == nullptr) return FALSE;
  if (frame >= object->image.frames.size() || rgba == nullptr) return failWith(ERROR_INVALID_PARAMETER);
  const auto& pixels = object->image.frames[frame].rgba;
  if (size < pixels.size()) return failWith(ERROR_INSUFFICIENT_BUFFER);
  std::memcpy(rgba, pixels.data(), pixels.size());
  return TRUE;
}

BOOL WINAPI qnGetAnimationStep(HANDLE image, UINT step, UINT* frame, DWORD* jiffies) {
  auto object = imageObject(image);
  if (object == nullptr) return FALSE;
  const auto& steps = object->image.steps;
  if (frame == nullptr || jiffies == nullptr || step >= (steps.empty() ? 1 : steps.size()))
    return failWith(ERROR_INVALID_PARAMETER);
  *frame = steps.empty() ? 0 : steps[step].frame;
  *jiffies = steps.empty() ? 0 : steps[step].jiffies;
  return TRUE;
}
