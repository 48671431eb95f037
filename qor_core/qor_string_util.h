#pragma once

// Free functions over text: quantities with magnitude suffixes ("1.5 KB", "12 M"), UTF-8 to the one-byte code
// page (Windows-1252, which the library's text files and fonts use), splitting, and a bounded copy into a
// character buffer.

#include "qor_core/container/qor_array.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_string_view.h"
#include "qor_core/qor_types.h"

// A read-only view of a suffix table: row i is the suffix of the values of magnitude i.
class CQorSuffixTableView
{
public:
    constexpr CQorSuffixTableView( const CString* pRows, int32 nSize ) : _pRows( pRows ), _nSize( nSize ) {}
    template <int32 nSizeT>
    constexpr CQorSuffixTableView( const CString ( &Rows )[nSizeT] ) : _pRows( Rows ), _nSize( nSizeT )
    {
    }

    int32 GetSize() const { return _nSize; }
    const CString& operator[]( int32 nIndex ) const { return _pRows[nIndex]; }

private:
    const CString* _pRows;
    int32 _nSize;
};

namespace NQorStringUtil
{
constexpr int32 c_SuffixTableSize = 7;
// " B", " KB" ... " EB": sizes, magnitude 1024.
extern const CString g_ByteSizeSuffixes[c_SuffixTableSize];
// "", " K" ... " E": counts, magnitude 1000.
extern const CString g_CountSuffixes[c_SuffixTableSize];
// "", "KB" ... "EB" and "", "K" ... "E": the same without the blank.
extern const CString g_ByteSizeSuffixesNoBlank[c_SuffixTableSize];
extern const CString g_CountSuffixesNoBlank[c_SuffixTableSize];
} // namespace NQorStringUtil

// Value scaled down by MagnitudeSize until it is below one magnitude (or the table's last row is reached),
// with that row's suffix. At least MinDigits digits and MinFractionalDigits decimals are shown; the decimals
// are cut, never rounded: 1536 by 1024 with one decimal is "1.5", 2047 is "1.9".
// REQUIRES: MinDigits <= 19, MinFractionalDigits <= 18, MagnitudeSize >= 2, Suffixes.GetSize() >= 2. A result
// that doesn't fit 64 characters is reported and empty.
CString FormatMagnitude( int64 Value, uint32 MinDigits, uint32 MinFractionalDigits, int64 MagnitudeSize,
                         CQorSuffixTableView Suffixes );
// A size in bytes, no decimals: "1023 B", "1 KB".
CString FormatByteSize( int64 Value );
CString FormatByteSize( int64 Value, uint32 MinDigits, uint32 MinFractionalDigits );
// A count: "999", "1 K", "1.5 M".
CString FormatCount( int64 Value, uint32 MinDigits, uint32 MinFractionalDigits );

// Copies Text into pDestination, cut to DestinationBufferSize - 1 characters, and terminates it. Returns the
// count copied. REQUIRES: DestinationBufferSize > 0 (else nothing is written and -1 returned); Text holds no
// zero byte (reported: the copy then ends early for readers of the terminated text).
int32 WriteTerminated( CQorStringView Text, int32 DestinationBufferSize, char* pDestination );

// Converts zero-terminated UTF-8 to Windows-1252, one byte per character; a character outside the page
// becomes '?'. A sequence cut by the terminator gives '?' and ends the text there.
// REQUIRES: pDestination holds at least as many bytes as pSource, terminator included.
void Utf8ToLatin1( const char* pSource, char* pDestination );

// The pieces of Text between occurrences of Separator, empty ones kept; at most MaxElements, the last one
// keeping any further separators. An empty separator occurs nowhere.
// REQUIRES: MaxElements >= 1 (reported, then taken as 1).
CQorArray<CString> Split( CQorStringView Text, CQorStringView Separator, int32 MaxElements = 0x7fffffff );
