// SPDX-License-Identifier: MIT
// Numbers as text and back, in the international record's punctuation, and
// the small text helpers of the kernel: dB values, byte sizes, colours,
// four-character codes, names.
#pragma once

#include <cstddef>

#include "platform/export.h"
#include "platform/status.h"
#include "platform/types.h"

typedef DWORD COLORREF;  // 0x00BBGGRR

VANE_BEGIN_EXTERN_C
// Leading non-digits (sign, spaces) are copied; the number after them is
// punctuated by the record: ZoFormatNumber groups and rounds to no decimals,
// ZoFormatDecimalNumber keeps the text's decimals without grouping,
// ZoFormatGroupDecimalNumber does both (decimals -1: as many as the text has).
// Anything after the number is copied. Return the length written.
VANE_EXPORT int ZoFormatNumber(const WCHAR* digits, WCHAR* out, int capacity);
VANE_EXPORT int ZoFormatDecimalNumber(const WCHAR* digits, WCHAR* out, int capacity);
VANE_EXPORT int ZoFormatGroupDecimalNumber(const WCHAR* digits, WCHAR* out, int capacity, int decimals);

// Number to text; with format not zero grouped by the record. The
// unbounded forms need 64 characters of room. Return the length.
VANE_EXPORT int ZoDWordToText(DWORD value, WCHAR* out, int format);
VANE_EXPORT int ZoLongToText(LONG value, WCHAR* out, int format);
VANE_EXPORT int ZoDWordLongToText(DWORDLONG value, WCHAR* out, int format);
VANE_EXPORT int ZoLongLongToText(LONGLONG value, WCHAR* out, int format);
VANE_EXPORT int ZoDoubleToText(double value, WCHAR* out, int format);
VANE_EXPORT int ZoDWordToTextN(DWORD value, WCHAR* out, size_t capacity, int format);
VANE_EXPORT int ZoLongToTextN(LONG value, WCHAR* out, size_t capacity, int format);
VANE_EXPORT int ZoDWordLongToTextN(DWORDLONG value, WCHAR* out, size_t capacity, int format);
VANE_EXPORT int ZoLongLongToTextN(LONGLONG value, WCHAR* out, size_t capacity, int format);
VANE_EXPORT int ZoDoubleToTextN(double value, WCHAR* out, size_t capacity, int format);

// Text to number. A token skips leading white space, is at most 64
// characters and ends at the first character that can't belong to the
// number; `end` (may be null) receives where it ended. Out of range values
// saturate. The Ex forms: 0 with a non-blank character after the token gives
// the default; the result is then clamped to [minimum, maximum].
VANE_EXPORT DWORD ZoTextToDWordToken(const WCHAR* text, const WCHAR** end);
VANE_EXPORT DWORDLONG ZoTextToDWordLongToken(const WCHAR* text, const WCHAR** end);
VANE_EXPORT LONG ZoTextToLongToken(const WCHAR* text, const WCHAR** end);
VANE_EXPORT LONGLONG ZoTextToLongLongToken(const WCHAR* text, const WCHAR** end);
VANE_EXPORT double ZoTextToDoubleToken(const WCHAR* text, const WCHAR** end);
VANE_EXPORT DWORD ZoHexToDWordToken(const WCHAR* text, const WCHAR** end);
VANE_EXPORT DWORDLONG ZoHexToDWordLongToken(const WCHAR* text, const WCHAR** end);
VANE_EXPORT COLORREF ZoTextToColorrefToken(const WCHAR* text, const WCHAR** end);
VANE_EXPORT DWORD ZoTextToDWordTokenEx(const WCHAR* text, DWORD def, DWORD minimum, DWORD maximum, const WCHAR** end);
VANE_EXPORT DWORDLONG ZoTextToDWordLongTokenEx(const WCHAR* text, DWORDLONG def, DWORDLONG minimum,
                                               DWORDLONG maximum, const WCHAR** end);
VANE_EXPORT LONG ZoTextToLongTokenEx(const WCHAR* text, LONG def, LONG minimum, LONG maximum, const WCHAR** end);
VANE_EXPORT LONGLONG ZoTextToLongLongTokenEx(const WCHAR* text, LONGLONG def, LONGLONG minimum, LONGLONG maximum,
                                             const WCHAR** end);
VANE_EXPORT double ZoTextToDoubleTokenEx(const WCHAR* text, double def, double minimum, double maximum,
                                         const WCHAR** end);
VANE_EXPORT DWORD ZoHexToDWordTokenEx(const WCHAR* text, DWORD def, DWORD minimum, DWORD maximum, const WCHAR** end);
VANE_EXPORT DWORDLONG ZoHexToDWordLongTokenEx(const WCHAR* text, DWORDLONG def, DWORDLONG minimum,
                                              DWORDLONG maximum, const WCHAR** end);
VANE_EXPORT COLORREF ZoTextToColorrefTokenEx(const WCHAR* text, COLORREF def, COLORREF minimum, COLORREF maximum,
                                             const WCHAR** end);

// Colours as "#RRGGBB" (ZoColorrefToTextEx with flags 1: "R,G,B" in
// decimal). The parser takes either form, or a 0x-prefixed COLORREF word.
VANE_EXPORT int ZoColorrefToText(COLORREF color, WCHAR* out);
VANE_EXPORT int ZoColorrefToTextEx(COLORREF color, WCHAR* out, size_t capacity, DWORD flags);
VANE_EXPORT COLORREF ZoTextToColorref(const WCHAR* text);
// The four characters of a tag in memory order, a NUL shown as a space;
// out has room for 5. Returns out.
VANE_EXPORT WCHAR* ZoFourCCToString(DWORD code, WCHAR* out);

// Texts in the kernel's temporary ring ("Err." when it has no room): a
// value at or below a non-zero floor is "-Inf.". Fixed takes the value in
// units of 10^-decimals.
VANE_EXPORT const WCHAR* ZoGetdBStringFixed(LONG value, int decimals, LONG floor, BOOL unit);
VANE_EXPORT const WCHAR* ZoGetdBStringFloat(float value, int decimals, float floor, BOOL unit);
VANE_EXPORT const WCHAR* ZoGetLabeledStringFixed(LONG value, int decimals, LONG floor, const WCHAR* label);
VANE_EXPORT const WCHAR* ZoGetLabeledStringFloat(float value, int decimals, float floor, const WCHAR* label);

// "12.3 MB" style sizes, the number kept below 1000; "bytes" for the
// smallest with longWord. 0x8004E03C when cut.
VANE_EXPORT HRESULT ZoFormatFileSize(LONGLONG size, WCHAR* out, size_t capacity, BOOL longWord);
// "512 bytes", "1.21KB", "3.40MB", "1.07GB" (divisors 1024, 1.024e6, 1.024e9);
// WithSpace puts a space before the unit; 2 is ZoFormatFileSize's form. out
// has room for 64. Return the length.
VANE_EXPORT int ZoGetByteSizeText(LONGLONG size, WCHAR* out);
VANE_EXPORT int ZoGetByteSizeText2(LONGLONG size, WCHAR* out);
VANE_EXPORT int ZoGetByteSizeTextWithSpace(LONGLONG size, WCHAR* out);

// Replace every `from` by `to`; return how many.
VANE_EXPORT int ZoStringReplaceChars(char* text, char from, char to);
VANE_EXPORT int ZoStringReplaceCharsW(WCHAR* text, WCHAR from, WCHAR to);
// Trims white space at both ends in place; returns text.
VANE_EXPORT WCHAR* ZoStripWhiteSpace(WCHAR* text);
// Makes a name usable as a file name in place: characters a file system
// refuses (\ / : * ? " < > | and controls) become '_', ends are trimmed.
// Returns the length.
VANE_EXPORT int ZoPrepareName(WCHAR* text);
// Doubles every '&' so that a menu shows it; returns the length (cut to fit).
VANE_EXPORT int ZoFixNameForMenu(const WCHAR* name, WCHAR* out, size_t capacity);
VANE_END_EXTERN_C
