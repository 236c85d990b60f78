/// @file
/// The version resource of a module file: its named strings and its fixed
/// version record, loaded once when the object is made.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>
#include <qnlith/win32/version.h>

class cResourceLibrary;

/// The version resource of a module file, copied into the object when it is made.
class QNLITH_API cFileVersion {
 public:
  /// The standard items of a version resource's string table.
  enum StringInfoTypeEnum {
    CompanyName,
    FileDescription,
    FileVersion,
    InternalName,
    LegalCopyright,
    OriginalFilename,
    ProductName,
    ProductVersion,
    PrivateBuild,
    SpecialBuild
  };

  /// Both throw cException when the file has no readable version resource.
  ///@{
  cFileVersion(const cString& fileName);
  cFileVersion(const cResourceLibrary& library);
  ///@}
  ~cFileVersion();
  /// The target shares the source's data; only the source releases it.
  cFileVersion& operator=(const cFileVersion& source);
  cFileVersion(const cFileVersion&) = delete;

  /// The item under the first translation; empty when there is none.
  cString queryValue(StringInfoTypeEnum type);
  /// The fixed version record inside the object's data, valid while the object
  /// holds it; throws cException when the resource has none.
  VS_FIXEDFILEINFO* queryFixedFileInformation();
  /// The file (product) version, most significant half high; throws as
  /// queryFixedFileInformation does.
  ///@{
  DWORD64 queryFileVersion();
  DWORD64 queryProductVersion();
  ///@}
  /// The file flags (their valid mask) of the fixed record; throws as
  /// queryFixedFileInformation does.
  ///@{
  DWORD queryFileFlags();
  DWORD queryFileFlagsMask();
  ///@}

 private:
  void ctor(const cString& fileName);
  cString enumAsText(StringInfoTypeEnum type) const;

  BYTE* versionData;
  DWORD versionHandle;
  WORD language;
  WORD codePage;
  bool ownsData;
};
