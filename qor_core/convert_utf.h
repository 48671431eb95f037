#pragma once

// Strict conversion of UTF-8 to UTF-32. A sequence is legal exactly when it is one of the well-formed byte
// sequences of the Unicode standard (its table of well-formed UTF-8):
//
//   U+0000..U+007F      00..7F
//   U+0080..U+07FF      C2..DF  80..BF
//   U+0800..U+0FFF      E0      A0..BF  80..BF
//   U+1000..U+CFFF      E1..EC  80..BF  80..BF
//   U+D000..U+D7FF      ED      80..9F  80..BF
//   U+E000..U+FFFF      EE..EF  80..BF  80..BF
//   U+10000..U+3FFFF    F0      90..BF  80..BF  80..BF
//   U+40000..U+FFFFF    F1..F3  80..BF  80..BF  80..BF
//   U+100000..U+10FFFF  F4      80..8F  80..BF  80..BF
//
// So overlong forms, surrogates (U+D800..U+DFFF), values above U+10FFFF, the five- and six-byte forms and a
// continuation byte without its lead are all illegal; nothing is replaced or skipped. The routine is pure and
// re-entrant and never reads outside [source, end) or writes outside [target, end).

#include "qor_core/qor_types.h"

enum class EConversionResult : uint8
{
    // Every byte of the source was converted.
    ConversionOK = 0,
    // The source ends inside a sequence whose bytes so far could still be completed to a legal one.
    SourceExhausted = 1,
    // The target is full; the rest can go into a fresh target.
    TargetExhausted = 2,
    // The source holds a byte that no legal sequence has at that place.
    SourceIllegal = 3,
};

// Converts [*ppSource, pSourceEnd) into [*ppTarget, pTargetEnd), one code point per character. Both pointers
// advance over what was converted: for any result but ConversionOK the source pointer stands on the first
// byte of the character that was not converted, so the caller can go on with a fresh target or tell where the
// text went wrong. REQUIRES: *ppSource <= pSourceEnd and *ppTarget <= pTargetEnd.
EConversionResult ConvertUTF8toUTF32( const uint8** ppSource, const uint8* pSourceEnd, uint32** ppTarget,
                                      uint32* pTargetEnd );
