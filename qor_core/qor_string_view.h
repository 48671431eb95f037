#pragma once

// CQorStringView: the library's non-owning text reference, passed by value. It differs from std::string_view
// where the library relies on it:
// - sizes and positions are int32, and -1 stands for "not found";
// - it remembers whether the byte behind its last character is known to be a terminating zero, so that a
//   view can reach printf-style formatting without a copy when that is safe (QorStrFmtCheck), and is refused
//   when it is not;
// - misuse is an assertion, after which the operation goes on with what it was given.

#include "qor_core/qor_assert.h"
#include "qor_core/qor_optional.h"
#include "qor_core/qor_types.h"

#include <cctype>
#include <cstring>
#include <limits>
#include <strings.h>

// Whether the byte behind a view's last character is known to be a terminating zero.
enum class ENullTerminated : uint8
{
    Yes = 0,
    No = 1,
};

namespace NDetail
{
// Membership flags of a set of bytes, one per byte value.
struct SByteSet
{
    bool Contains[ 256 ] = {};

    SByteSet( const char* pSet, int32 nSize )
    {
        for ( int32 I = 0; I < nSize; ++I )
        {
            Contains[ static_cast<unsigned char>( pSet[ I ] ) ] = true;
        }
    }
    bool operator()( char Char ) const { return Contains[ static_cast<unsigned char>( Char ) ]; }
};
} // namespace NDetail

class CQorStringView
{
public:
    static constexpr int32 npos = -1;

    // The empty view: null, 0, not terminated.
    constexpr CQorStringView() = default;

    // Up to the first zero, terminated; a null pointer gives the empty view.
    CQorStringView( const char* pString )
        : _String( pString ), _Size( pString ? static_cast<int32>( std::strlen( pString ) ) : 0 ),
          _IsNullTerminated( pString ? ENullTerminated::Yes : ENullTerminated::No )
    {
    }

    // REQUIRES: String is not null unless Size is 0; with ENullTerminated::Yes, String[ Size ] is readable
    // and zero.
    CQorStringView( const char* String, int32 Size, ENullTerminated IsNullTerminated )
        : _String( String ), _Size( Size ), _IsNullTerminated( IsNullTerminated )
    {
        QOR_ASSERT( ( String != nullptr || Size == 0 ) &&
                    ( IsNullTerminated == ENullTerminated::No || String[ Size ] == '\0' ) );
    }

    // REQUIRES: Pos < GetSize().
    const char& operator[]( int32 Pos ) const
    {
        QOR_ASSERT( Pos < _Size );
        return _String[ Pos ];
    }

    const char* GetData() const { return _String; }
    int32 GetSize() const { return _Size; }
    bool IsEmpty() const { return _Size == 0; }
    ENullTerminated GetNullTerminated() const { return _IsNullTerminated; }
    bool IsNullTerminated() const { return _IsNullTerminated == ENullTerminated::Yes; }

    const char* begin() const { return _String; }
    const char* end() const { return _String + _Size; }

    // The characters [StartPos, EndPos); an EndPos beyond the end is lowered to it. Terminated only when this
    // view is and the range reaches its end.
    CQorStringView Substr( int32 StartPos, int32 EndPos = std::numeric_limits<int32>::max() ) const
    {
        QOR_ASSERT( _String != nullptr || StartPos <= GetSize() );
        if ( EndPos > _Size )
        {
            EndPos = _Size;
        }
        const ENullTerminated Terminated =
            ( IsNullTerminated() && EndPos == _Size ) ? ENullTerminated::Yes : ENullTerminated::No;
        // A null view stays null, also behind a failed check.
        return CQorStringView( _String ? _String + StartPos : nullptr, EndPos - StartPos, Terminated, SUnchecked() );
    }

    // REQUIRES: Count <= GetSize(). The terminator stays where it was, so the flag is kept.
    void RemovePrefix( int32 Count )
    {
        QOR_ASSERT( Count <= _Size );
        _String += Count;
        _Size -= Count;
    }
    // REQUIRES: Count <= GetSize(). Any removal puts a character behind the end: the flag is cleared.
    void RemoveSuffix( int32 Count )
    {
        QOR_ASSERT( Count <= _Size );
        _Size -= Count;
        if ( Count != 0 )
        {
            _IsNullTerminated = ENullTerminated::No;
        }
    }

    // Position of the first occurrence of Needle at or behind StartPos, or -1. An empty needle is found at
    // StartPos as long as StartPos <= GetSize().
    int32 Find( CQorStringView Needle, int32 StartPos = 0 ) const
    {
        const int32 Last = _Size - Needle._Size;
        if ( Needle._Size > _Size || Last < StartPos )
        {
            return npos;
        }
        if ( Needle._Size == 0 )
        {
            return StartPos;
        }
        const char First = Needle._String[ 0 ];
        const char* pScan = _String + StartPos;
        const char* const pLast = _String + Last;
        while ( pScan <= pLast )
        {
            pScan = static_cast<const char*>( std::memchr( pScan, First, pLast - pScan + 1 ) );
            if ( !pScan )
            {
                return npos;
            }
            if ( std::memcmp( pScan, Needle._String, Needle._Size ) == 0 )
            {
                return static_cast<int32>( pScan - _String );
            }
            ++pScan;
        }
        return npos;
    }
    int32 Find( char Char, int32 StartPos = 0 ) const
    {
        return Find( CQorStringView( &Char, 1, ENullTerminated::No, SUnchecked() ), StartPos );
    }

    // Position of the last character at or before StartPos that is in Set, or -1.
    int32 FindLastOf( CQorStringView Set, int32 StartPos = std::numeric_limits<int32>::max() ) const
    {
        if ( Set._Size == 0 || _Size == 0 )
        {
            return npos;
        }
        const NDetail::SByteSet InSet( Set._String, Set._Size );
        for ( int32 Pos = StartPos < _Size - 1 ? StartPos : _Size - 1; Pos >= 0; --Pos )
        {
            if ( InSet( _String[ Pos ] ) )
            {
                return Pos;
            }
        }
        return npos;
    }
    int32 FindLastOf( char Char, int32 StartPos = std::numeric_limits<int32>::max() ) const
    {
        return FindLastOf( CQorStringView( &Char, 1, ENullTerminated::No, SUnchecked() ), StartPos );
    }

    // The bytes decide; the termination flag takes no part.
    bool operator==( CQorStringView Other ) const
    {
        return _Size == Other._Size && ( _Size == 0 || std::memcmp( _String, Other._String, _Size ) == 0 );
    }

    bool StartsWith( CQorStringView Other ) const
    {
        return Other._Size <= _Size && ( Other._Size == 0 || std::memcmp( _String, Other._String, Other._Size ) == 0 );
    }
    bool EndsWith( CQorStringView Other ) const
    {
        return Other._Size <= _Size &&
               ( Other._Size == 0 || std::memcmp( end() - Other._Size, Other._String, Other._Size ) == 0 );
    }
    bool StartsWithNoCase( CQorStringView Other ) const
    {
        return Other._Size <= _Size && ( Other._Size == 0 || strncasecmp( _String, Other._String, Other._Size ) == 0 );
    }
    bool EndsWithNoCase( CQorStringView Other ) const
    {
        return Other._Size <= _Size &&
               ( Other._Size == 0 || strncasecmp( end() - Other._Size, Other._String, Other._Size ) == 0 );
    }
    // -1, 0 or 1; of two texts equal over the shorter length, the shorter orders first.
    int32 CompareNoCase( CQorStringView Other ) const
    {
        const int32 Common = _Size < Other._Size ? _Size : Other._Size;
        const int Compared = Common == 0 ? 0 : strncasecmp( _String, Other._String, Common );
        if ( Compared != 0 )
        {
            return Compared < 0 ? -1 : 1;
        }
        return _Size < Other._Size ? -1 : ( _Size > Other._Size ? 1 : 0 );
    }
    // An empty needle is found in any non-empty view.
    bool ContainsNoCase( CQorStringView Needle ) const
    {
        int32 Pos = 0;
        for ( ; Pos < _Size; ++Pos )
        {
            int32 Matched = 0;
            while ( Matched < Needle._Size && Pos + Matched < _Size &&
                    std::toupper( static_cast<unsigned char>( _String[ Pos + Matched ] ) ) ==
                        std::toupper( static_cast<unsigned char>( Needle._String[ Matched ] ) ) )
            {
                ++Matched;
            }
            if ( Matched == Needle._Size )
            {
                break;
            }
        }
        return Pos < _Size;
    }

    int32 Count( char Char ) const
    {
        int32 Found = 0;
        for ( int32 Pos = 0; Pos < _Size; ++Pos )
        {
            Found += _String[ Pos ] == Char;
        }
        return Found;
    }

    // The trims work in place and return this view. A trimmed end clears the termination flag.
    CQorStringView& TrimStart( CQorStringView Set ) { return TrimStartWhile( Set, true ); }
    CQorStringView& TrimEnd( CQorStringView Set ) { return TrimEndWhile( Set, true ); }
    CQorStringView& Trim( CQorStringView Set ) { return TrimStart( Set ).TrimEnd( Set ); }
    // Mirror images: remove the characters that are not in Set.
    CQorStringView& TrimStartUntil( CQorStringView Set ) { return TrimStartWhile( Set, false ); }
    CQorStringView& TrimEndUntil( CQorStringView Set ) { return TrimEndWhile( Set, false ); }

    // Digits with an optional leading '-' and at most one '.'. There is no minimum: "", "-", "." and "-."
    // are decimal numbers.
    bool IsDecimalNumber() const
    {
        bool bDotSeen = false;
        for ( int32 Pos = 0; Pos < _Size; ++Pos )
        {
            const char Char = _String[ Pos ];
            if ( Pos == 0 && Char == '-' )
            {
                continue;
            }
            if ( Char == '.' && !bDotSeen )
            {
                bDotSeen = true;
                continue;
            }
            if ( Char < '0' || Char > '9' )
            {
                return false;
            }
        }
        return true;
    }

    // Exactly "yes" or "no"; anything else is unset.
    CQorOptional<bool> ParseYesNo() const
    {
        if ( *this == CQorStringView( "yes" ) )
        {
            return CQorOptional<bool>( true );
        }
        if ( *this == CQorStringView( "no" ) )
        {
            return CQorOptional<bool>( false );
        }
        return CQorOptional<bool>();
    }

private:
    struct SUnchecked
    {
    };
    // For views cut from a valid view, whose invariant holds by construction.
    CQorStringView( const char* String, int32 Size, ENullTerminated IsNullTerminated, SUnchecked )
        : _String( String ), _Size( Size ), _IsNullTerminated( IsNullTerminated )
    {
    }

    CQorStringView& TrimStartWhile( CQorStringView Set, bool bInSet )
    {
        const NDetail::SByteSet InSet( Set._String, Set._Size );
        int32 Count = 0;
        while ( Count < _Size && InSet( _String[ Count ] ) == bInSet )
        {
            ++Count;
        }
        RemovePrefix( Count );
        return *this;
    }
    CQorStringView& TrimEndWhile( CQorStringView Set, bool bInSet )
    {
        const NDetail::SByteSet InSet( Set._String, Set._Size );
        int32 Count = 0;
        while ( Count < _Size && InSet( _String[ _Size - 1 - Count ] ) == bInSet )
        {
            ++Count;
        }
        RemoveSuffix( Count );
        return *this;
    }

    const char* _String = nullptr;
    int32 _Size = 0;
    ENullTerminated _IsNullTerminated = ENullTerminated::No;
};

namespace NDetail
{
// The path of a view that is not known to be terminated: reported unless empty, formatted as the empty text.
const char* QorStrFmtCheckUnterminated( CQorStringView View );
} // namespace NDetail

// The text a "%s" may receive for View: its own characters when it is terminated, otherwise the shared empty
// text (a non-empty unterminated view is a programming error: format it with "%.*s").
inline const char* QorStrFmtCheck( CQorStringView View )
{
    if ( View.IsNullTerminated() )
    {
        return View.GetData();
    }
    return NDetail::QorStrFmtCheckUnterminated( View );
}
