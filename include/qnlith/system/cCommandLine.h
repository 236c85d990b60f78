// The argument vector of a program, walked one classified argument at a time.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>

enum eArgumentType { eArgumentString = 0, eArgumentSwitch = 1, eArgumentNumber = 2, eArgumentNone = 3 };

// The record one call fills. A call sets only the fields its kind of
// argument has; the others keep what earlier calls left.
class QNLITH_API cParameterArgument {
 public:
  cParameterArgument();
  cParameterArgument(const cParameterArgument& source);
  cParameterArgument& operator=(const cParameterArgument& source);
  ~cParameterArgument();

  eArgumentType argumentType;
  wchar_t switchCharacter;
  int intValue;
  int hexValue;
  cString stringValue;
  int argumentIndex;
};

class QNLITH_API cArgument : public cParameterArgument {
 public:
  cArgument();
  cArgument(const cArgument& source);
  cArgument& operator=(const cArgument& source);
  ~cArgument();

  eArgumentType type() const;
  wchar_t switchChar() const;
  int asInt() const;
  int asHex() const;
  cString asString() const;
  const wchar_t* asChar() const;
  int index() const;
};

class QNLITH_API cCommandLine {
 public:
  // The vector is not copied and must outlive the object.
  cCommandLine(int count, const wchar_t* const* vector);
  ~cCommandLine();
  cCommandLine& operator=(const cCommandLine& source);

  // Reads the next element into the record; false at the end of the list.
  bool getNextArgument(cArgument& argument);

 private:
  const wchar_t* const* argumentVector;
  int argumentCount;
  int nextIndex;
};
