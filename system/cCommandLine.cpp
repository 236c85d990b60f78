#include <qnlith/system/cCommandLine.h>
#include <qnlith/win32/format.h>

#include <cctype>

cParameterArgument::cParameterArgument() : stringValue() {}

cParameterArgument::cParameterArgument(const cParameterArgument& source)
    : argumentType(source.argumentType),
      switchCharacter(source.switchCharacter),
      intValue(source.intValue),
      hexValue(source.hexValue),
      stringValue(source.stringValue),
      argumentIndex(source.argumentIndex) {}

cParameterArgument& cParameterArgument::operator=(const cParameterArgument& source) {
  argumentType = source.argumentType;
  switchCharacter = source.switchCharacter;
  intValue = source.intValue;
  hexValue = source.hexValue;
  stringValue = source.stringValue;
  argumentIndex = source.argumentIndex;
  return *this;
}

cParameterArgument::~cParameterArgument() {}

cArgument::cArgument() : cParameterArgument() {
  argumentType = eArgumentNone;
  switchCharacter = L' ';
  intValue = 0;
  hexValue = 0;
  argumentIndex = 1;
}

cArgument::cArgument(const cArgument& source) : cParameterArgument(source) {}

cArgument& cArgument::operator=(const cArgument& source) {
  cParameterArgument::operator=(source);
  return *this;
}

cArgument::~cArgument() {}

eArgumentType cArgument::type() const { return argumentType; }
wchar_t cArgument::switchChar() const { return switchCharacter; }
int cArgument::asInt() const { return intValue; }
int cArgument::asHex() const { return hexValue; }
cString cArgument::asString() const { return stringValue; }
const wchar_t* cArgument::asChar() const { return stringValue.c_str(); }
int cArgument::index() const { return argumentIndex; }

cCommandLine::cCommandLine(int count, const wchar_t* const* vector)
    : argumentVector(vector), argumentCount(count), nextIndex(1) {}

cCommandLine::~cCommandLine() {}

cCommandLine& cCommandLine::operator=(const cCommandLine& source) {
  argumentVector = source.argumentVector;
  argumentCount = source.argumentCount;
  nextIndex = source.nextIndex;
  return *this;
}

bool cCommandLine::getNextArgument(cArgument& argument) {
  argument.argumentIndex = nextIndex;
  argument.argumentType = eArgumentNone;
  if (nextIndex >= argumentCount) return false;

  const wchar_t* element = argumentVector[nextIndex];
  const wchar_t sign = element[0];
  if (sign != L'+' && sign != L'-' && sign != L'/') {
    argument.argumentType = eArgumentString;
    argument.stringValue = element;
  } else {
    const wchar_t letter = element[1];
    argument.argumentType = eArgumentSwitch;
    argument.switchCharacter = static_cast<wchar_t>(tolower(letter));
    if (letter != L'\0' && element[2] == L':') {
      const wchar_t* value = element + 3;
      argument.argumentType = eArgumentNumber;
      argument.intValue = 0;
      argument.hexValue = 0;
      const int decimal = swscanf_s(value, L"%u", &argument.intValue);
      const int hexadecimal = swscanf_s(value, L"%x", &argument.hexValue);
      if (decimal + hexadecimal < 1) {
        wchar_t word[256] = {};
        if (swscanf_s(value, L"%s", word, 255u) == 1) {
          argument.argumentType = eArgumentString;
        } else {
          argument.argumentType = eArgumentNone;
        }
        argument.stringValue = word;
      }
    }
  }
  ++nextIndex;
  return true;
}
