/// @file
/// The argument vector of a program, walked one classified argument at a time.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>

/// The kinds of argument: a plain word or a switch with a text value, a
/// switch alone, a switch with a number, or nothing (the end, or a value that
/// can't be read).
enum eArgumentType { eArgumentString = 0, eArgumentSwitch = 1, eArgumentNumber = 2, eArgumentNone = 3 };

/// The record one call fills. A call sets only the fields its kind of
/// argument has; the others keep what earlier calls left.
class QNLITH_API cParameterArgument {
 public:
  /// A record with an empty text (other fields unset); copies take all six fields.
  ///@{
  cParameterArgument();
  cParameterArgument(const cParameterArgument& source);
  cParameterArgument& operator=(const cParameterArgument& source);
  ~cParameterArgument();
  ///@}

  /// The kind of the argument last read.
  eArgumentType argumentType;
  /// The letter of the switch, without its leading sign.
  wchar_t switchCharacter;
  /// The value read as unsigned decimal.
  int intValue;
  /// The value read as hexadecimal.
  int hexValue;
  /// The word or the text value.
  cString stringValue;
  /// The argument's index in the vector.
  int argumentIndex;
};

/// One classified argument of the command line, with readers for each field.
class QNLITH_API cArgument : public cParameterArgument {
 public:
  /// A record of kind eArgumentNone, a blank letter and index 1; copies take every field.
  ///@{
  cArgument();
  cArgument(const cArgument& source);
  cArgument& operator=(const cArgument& source);
  ~cArgument();
  ///@}

  /// The kind of the argument.
  eArgumentType type() const;
  /// The letter of a switch.
  wchar_t switchChar() const;
  /// The decimal value of a number.
  int asInt() const;
  /// The hexadecimal value of a number.
  int asHex() const;
  /// The argument's text.
  cString asString() const;
  /// The argument's text, owned by the record.
  const wchar_t* asChar() const;
  /// The argument's index in the vector.
  int index() const;
};

/// A walk over an argument vector, one classified argument per call.
class QNLITH_API cCommandLine {
 public:
  /// The vector is not copied and must outlive the object.
  cCommandLine(int count, const wchar_t* const* vector);
  /// Frees nothing: the vector is the caller's.
  ~cCommandLine();
  /// Takes the other's vector and position.
  cCommandLine& operator=(const cCommandLine& source);

  /// Reads the next element into the record; false at the end of the list.
  bool getNextArgument(cArgument& argument);

 private:
  const wchar_t* const* argumentVector;
  int argumentCount;
  int nextIndex;
};
