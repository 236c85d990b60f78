/// @file
/// Resources of modules, and the icon, cursor and bitmap objects made from
/// them. A null module means the main program. Lookups follow the system's
/// language fallback (docs/modules.md); a LANG_NEUTRAL request means the
/// user's language, English (United States) here.
#pragma once

#include <qnlith/win32/modules.h>

/// An integer resource name or type (the low 16 bits of i) in a pointer,
/// wide or narrow, and the test whether a name is such an integer.
///@{
#define MAKEINTRESOURCEW(i) (reinterpret_cast<LPWSTR>(static_cast<ULONG_PTR>(static_cast<WORD>(i))))
#define MAKEINTRESOURCEA(i) (reinterpret_cast<LPSTR>(static_cast<ULONG_PTR>(static_cast<WORD>(i))))
#define IS_INTRESOURCE(r) ((reinterpret_cast<ULONG_PTR>(r) >> 16) == 0)
///@}

/// The standard resource types, by their documented numbers.
///@{
#define RT_CURSOR MAKEINTRESOURCEW(1)
#define RT_BITMAP MAKEINTRESOURCEW(2)
#define RT_ICON MAKEINTRESOURCEW(3)
#define RT_MENU MAKEINTRESOURCEW(4)
#define RT_DIALOG MAKEINTRESOURCEW(5)
#define RT_STRING MAKEINTRESOURCEW(6)
#define RT_FONTDIR MAKEINTRESOURCEW(7)
#define RT_FONT MAKEINTRESOURCEW(8)
#define RT_ACCELERATOR MAKEINTRESOURCEW(9)
#define RT_RCDATA MAKEINTRESOURCEW(10)
#define RT_MESSAGETABLE MAKEINTRESOURCEW(11)
#define RT_GROUP_CURSOR MAKEINTRESOURCEW(12)
#define RT_GROUP_ICON MAKEINTRESOURCEW(14)
#define RT_VERSION MAKEINTRESOURCEW(16)
#define RT_DLGINCLUDE MAKEINTRESOURCEW(17)
#define RT_PLUGPLAY MAKEINTRESOURCEW(19)
#define RT_VXD MAKEINTRESOURCEW(20)
#define RT_ANICURSOR MAKEINTRESOURCEW(21)
#define RT_ANIICON MAKEINTRESOURCEW(22)
#define RT_HTML MAKEINTRESOURCEW(23)
#define RT_MANIFEST MAKEINTRESOURCEW(24)
///@}

/// Error codes of the resource and image calls: an enumeration stopped by
/// its callback, an invalid cursor handle, an invalid icon handle.
///@{
#define ERROR_RESOURCE_ENUM_USER_STOP 15106L
#define ERROR_INVALID_CURSOR_HANDLE 1402L
#define ERROR_INVALID_ICON_HANDLE 1414L
///@}

/// Image types of LoadImageW.
///@{
#define IMAGE_BITMAP 0
#define IMAGE_ICON 1
#define IMAGE_CURSOR 2
///@}

/// Load flags of LoadImageW and CreateIconFromResourceEx.
///@{
#define LR_DEFAULTCOLOR 0x00000000
#define LR_MONOCHROME 0x00000001
#define LR_COLOR 0x00000002
#define LR_LOADFROMFILE 0x00000010
#define LR_LOADTRANSPARENT 0x00000020
#define LR_DEFAULTSIZE 0x00000040
#define LR_VGACOLOR 0x00000080
#define LR_LOADMAP3DCOLORS 0x00001000
#define LR_CREATEDIBSECTION 0x00002000
#define LR_SHARED 0x00008000
///@}

/// The sizes the system gives icons and cursors when asked for its default.
#define QN_DEFAULT_ICON_SIZE 32

/// A graphics object, such as a bitmap, released by DeleteObject.
typedef HANDLE HGDIOBJ;

/// Callbacks of the resource enumerations, called once per type, name or
/// language with the caller's parameter; FALSE stops the enumeration.
///@{
typedef BOOL(CALLBACK* ENUMRESTYPEPROCW)(HMODULE module, LPWSTR type, LONG_PTR parameter);
typedef BOOL(CALLBACK* ENUMRESNAMEPROCW)(HMODULE module, LPCWSTR type, LPWSTR name, LONG_PTR parameter);
typedef BOOL(CALLBACK* ENUMRESLANGPROCW)(HMODULE module, LPCWSTR type, LPCWSTR name, WORD language,
                                         LONG_PTR parameter);
///@}

/// What qnGetImageInfo reports. Sizes and hot spot are those of frame 0.
typedef struct QN_IMAGE_INFO {
  /// IMAGE_BITMAP, IMAGE_ICON or IMAGE_CURSOR.
  UINT type;      // IMAGE_BITMAP, IMAGE_ICON or IMAGE_CURSOR
  /// The size of frame 0 in pixels.
  ///@{
  LONG width;
  LONG height;
  ///@}
  /// The hot spot of a cursor; 0 for the rest.
  ///@{
  LONG xHotspot;  // cursors; 0 for the rest
  LONG yHotspot;
  ///@}
  /// The number of frames, 1 unless animated.
  UINT frames;    // 1 unless animated
  /// The number of steps of the animation, 1 unless animated.
  UINT steps;     // steps of the animation, 1 unless animated
} QN_IMAGE_INFO;

/// What qnGetImageFrame reports of one frame.
typedef struct QN_IMAGE_FRAME {
  /// The frame's size in pixels.
  ///@{
  LONG width;
  LONG height;
  ///@}
  /// The frame's hot spot (cursors; 0 for the rest).
  ///@{
  LONG xHotspot;
  LONG yHotspot;
  ///@}
} QN_IMAGE_FRAME;

extern "C" {
/// Null with ERROR_RESOURCE_DATA_NOT_FOUND (the module has no resources),
/// ERROR_RESOURCE_TYPE_NOT_FOUND or ERROR_RESOURCE_NAME_NOT_FOUND;
/// ERROR_BAD_EXE_FORMAT when the module's resource data is malformed.
WINBASEAPI HRSRC WINAPI FindResourceW(HMODULE module, LPCWSTR name, LPCWSTR type);
/// The resource of the type, name and language, with the same failures as
/// FindResourceW and ERROR_RESOURCE_LANG_NOT_FOUND.
WINBASEAPI HRSRC WINAPI FindResourceExW(HMODULE module, LPCWSTR type, LPCWSTR name, WORD language);
/// The resource's size in bytes; 0 on failure.
WINBASEAPI DWORD WINAPI SizeofResource(HMODULE module, HRSRC resource);
/// The resource's bytes stay where the module holds them; "loading" hands
/// out their address, which LockResource returns.
WINBASEAPI HGLOBAL WINAPI LoadResource(HMODULE module, HRSRC resource);
/// The address of the resource's bytes (read-only, owned by the module); null for null.
WINBASEAPI LPVOID WINAPI LockResource(HGLOBAL data);
/// Does nothing: the bytes live as long as the module. Returns FALSE.
WINBASEAPI BOOL WINAPI FreeResource(HGLOBAL data);

/// Calls the callback for each resource type, name (of a type) or language
/// (of a name) of the module until it returns FALSE; FALSE when there is
/// nothing to list or the callback stopped (ERROR_RESOURCE_ENUM_USER_STOP).
///@{
WINBASEAPI BOOL WINAPI EnumResourceTypesW(HMODULE module, ENUMRESTYPEPROCW callback, LONG_PTR parameter);
WINBASEAPI BOOL WINAPI EnumResourceNamesW(HMODULE module, LPCWSTR type, ENUMRESNAMEPROCW callback,
                                          LONG_PTR parameter);
WINBASEAPI BOOL WINAPI EnumResourceLanguagesW(HMODULE module, LPCWSTR type, LPCWSTR name,
                                              ENUMRESLANGPROCW callback, LONG_PTR parameter);
                                              ///@}

/// Strings live in blocks of 16: string n is entry n % 16 of block n / 16 + 1.
/// The text is cut to bufferMax - 1 characters and terminated. With
/// bufferMax 0, *(LPCWSTR*)buffer receives a read-only pointer to the
/// string's text, which lives as long as the module and is terminated.
WINBASEAPI int WINAPI LoadStringW(HINSTANCE instance, UINT id, LPWSTR buffer, int bufferMax);

/// Icons and cursors come from their group resources (RT_GROUP_ICON,
/// RT_GROUP_CURSOR, or an animated RT_ANICURSOR), the image that best fits
/// the asked size chosen and then scaled to it. A width or height of 0 means
/// the image's own, or 32 with LR_DEFAULTSIZE. LR_LOADFROMFILE reads .ico,
/// .cur, .ani and .bmp files. A null instance names the system's images,
/// which this system has none of.
WINBASEAPI HANDLE WINAPI LoadImageW(HINSTANCE instance, LPCWSTR name, UINT type, int width, int height, UINT flags);
/// LoadImageW of an icon, a cursor or a bitmap at its own size, with the same results.
///@{
WINBASEAPI HICON WINAPI LoadIconW(HINSTANCE instance, LPCWSTR name);
WINBASEAPI HCURSOR WINAPI LoadCursorW(HINSTANCE instance, LPCWSTR name);
WINBASEAPI HBITMAP WINAPI LoadBitmapW(HINSTANCE instance, LPCWSTR name);
///@}

/// The id of the entry of a group directory that best fits the size; 0 when
/// the directory is malformed or of the other kind.
///@{
WINBASEAPI int WINAPI LookupIconIdFromDirectory(PBYTE directory, BOOL icon);
WINBASEAPI int WINAPI LookupIconIdFromDirectoryEx(PBYTE directory, BOOL icon, int width, int height, UINT flags);
///@}

/// Bits of an RT_ICON or RT_CURSOR resource (a device-independent bitmap
/// with its AND mask, or a PNG image; a cursor's begin with its hot spot), or
/// a RIFF "ACON" animated cursor. Anything else is refused with
/// ERROR_INVALID_DATA. CreateIconFromResource sizes the image as
/// LR_DEFAULTSIZE does.
///@{
WINBASEAPI HICON WINAPI CreateIconFromResource(PBYTE bits, DWORD size, BOOL icon, DWORD version);
WINBASEAPI HICON WINAPI CreateIconFromResourceEx(PBYTE bits, DWORD size, BOOL icon, DWORD version, int width,
                                                 int height, UINT flags);
                                                 ///@}

/// Frees an icon or cursor (DestroyIcon, DestroyCursor) or a bitmap
/// (DeleteObject); a shared image stays and the call succeeds. FALSE for a
/// handle of another kind.
///@{
WINBASEAPI BOOL WINAPI DestroyIcon(HICON icon);
WINBASEAPI BOOL WINAPI DestroyCursor(HCURSOR cursor);
WINBASEAPI BOOL WINAPI DeleteObject(HGDIOBJ object);
///@}

/// Reading image objects back, for a user interface that draws them.
///@{
WINBASEAPI BOOL WINAPI qnGetImageInfo(HANDLE image, QN_IMAGE_INFO* info);
WINBASEAPI BOOL WINAPI qnGetImageFrame(HANDLE image, UINT frame, QN_IMAGE_FRAME* info);
///@}
/// Frame pixels as 32-bit RGBA (bytes R, G, B, A), rows from the top, width
/// × height × 4 bytes; ERROR_INSUFFICIENT_BUFFER when `size` is smaller.
/// Colour is not premultiplied; a transparent pixel has alpha 0.
WINBASEAPI BOOL WINAPI qnGetImagePixels(HANDLE image, UINT frame, void* rgba, DWORD size);
/// Step `step` of an animation: its frame and how long it shows, in
/// sixtieths of a second.
WINBASEAPI BOOL WINAPI qnGetAnimationStep(HANDLE image, UINT step, UINT* frame, DWORD* jiffies);
}
