#include "qor_core/persistence/qor_persistent_reader.h"

#include "qor_core/cyodecode.h"
#include "qor_core/file.h"
#include "qor_core/log_deprecated.h"
#include "qor_core/math_parser.h"
#include "qor_core/persistence/qor_persistent_writer.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_charconv.h"
#include "qor_core/qor_hash.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

using namespace NToken;

namespace
{
constexpr uint32 c_ErrorCategory = 1;

// The depth of SkipBlock, shared by every reader of the process as it always was: a plain integer, since a
// reader belongs to one thread and the count only feeds a report.
int32 g_nSkipBlockLevel = 0;

// A report shows at most this much of a text of the file, then "...", and at most c_ReportLength of errors: the
// log cuts longer lines with a report of its own.
constexpr int32 c_ShownTextLength = 256;
constexpr int32 c_ReportLength = 6000;

CString ShownText( CQorStringView Text )
{
    if ( Text.GetSize() <= c_ShownTextLength )
    {
        return CString( Text );
    }
    return CString( Text.Substr( 0, c_ShownTextLength ) ) + "...";
}

bool IsAsciiLetter( char Char )
{
    return ( Char >= 'a' && Char <= 'z' ) || ( Char >= 'A' && Char <= 'Z' );
}

bool IsNameCharacter( char Char )
{
    return IsAsciiLetter( Char ) || ( Char >= '0' && Char <= '9' ) || Char == '_';
}

uint32 HashVariableName( CQorStringView Name )
{
    return HashBytes( 0, Name.GetData(), uint64( Name.GetSize() ) );
}

bool StartsWithAt( const CToken& Token )
{
    return Token.HasText() && Token.GetText().StartsWith( "@" );
}

// Hue, saturation and value to red, green and blue, the hue in turns. A hue that is no number of turns (beyond
// a float's range, or not a number) reads as 0: its fraction would pick no sector.
void HueToRgb( const float* pHsv, float* pRgb )
{
    const float Turns = std::isfinite( pHsv[ 0 ] ) ? pHsv[ 0 ] - std::floor( pHsv[ 0 ] ) : 0.0f;
    const float Hue = Turns * 6.0f;
    const float Saturation = pHsv[ 1 ];
    const float Value = pHsv[ 2 ];
    const int32 Sector = std::min( int32( Hue ), 5 );
    const float Fraction = Hue - float( Sector );
    const float P = Value * ( 1.0f - Saturation );
    const float Q = Value * ( 1.0f - Saturation * Fraction );
    const float T = Value * ( 1.0f - Saturation * ( 1.0f - Fraction ) );
    const float Table[ 6 ][ 3 ] = { { Value, T, P }, { Q, Value, P }, { P, Value, T },
                                    { P, Q, Value }, { T, P, Value }, { Value, P, Q } };
    for ( int32 Index = 0; Index < 3; ++Index )
    {
        pRgb[ Index ] = Table[ Sector ][ Index ];
    }
}
} // namespace

void CPersistent::Write( CWriter& Writer )
{
    Writer.OpenBrace();
    WriteContents( Writer );
    Writer.CloseBrace();
}

void CPersistent::WriteContents( CWriter& )
{
}

void CPersistent::Read( CReader& Reader )
{
    if ( !Reader.IsBlock() )
    {
        Reader.MalformedToken( "Expected {" );
        return;
    }
    Reader.ReadStatements( *this, true );
}

void CPersistent::ReadToken( CReader& Reader, uint32 )
{
    Reader.UnexpectedToken();
}

void CPersistent::OnReadEnd( CQorStringView, int32, int32 )
{
}

void CPersistent::OnReadBegin()
{
}

CReader::CReader( CLexer* pLexer, bool bOwnsLexer ) : _pLexer( pLexer ), _bOwnsLexer( bOwnsLexer )
{
}

CReader::~CReader()
{
    ReportErrors();
    if ( _bOwnsLexer )
    {
        delete _pLexer;
    }
}

void CReader::ResetStatement( bool bKeepKey )
{
    if ( !bKeepKey )
    {
        _Key = CToken();
    }
    _Operator = CToken();
    _Value = CToken();
}

void CReader::ReadStatement()
{
    CLexer& Lexer = *_pLexer;
    Lexer.PeekToken();
    if ( !Lexer.NextToken() )
    {
        ResetStatement( false );
        return;
    }
    while ( StartsWithAt( Lexer.GetToken() ) && !Lexer.GetToken().IsQuoted() )
    {
        DefineVariable();
        // A block may end behind its definitions: its '}' stays for the block, as a value '}' does.
        if ( !Lexer.PeekToken() || Lexer.GetToken().Match( _closebrace_ ) )
        {
            ResetStatement( false );
            return;
        }
        Lexer.NextToken();
    }

    _Key = Lexer.GetToken();
    if ( !Lexer.NextToken() )
    {
        ResetStatement( true );
        return;
    }
    // Anything but an operator is consumed with the key's statement: a bare key must be followed by one.
    if ( !Lexer.GetToken().Match( _equals_ ) && !IsComparison( Lexer.GetToken() ) )
    {
        ResetStatement( true );
        return;
    }

    _Operator = Lexer.GetToken();
    Lexer.PeekToken();
    const CToken& Peek = Lexer.GetToken();
    if ( Peek.Match( _closebrace_ ) )
    {
        _Value = CToken( _closebrace_, "}" );
        return;
    }
    if ( !StartsWithAt( Peek ) )
    {
        // At the end of the input the value is a bare end token, without the text the last token left.
        _Value = Lexer.NextToken() ? Lexer.GetToken() : CToken( _eof_, "" );
        return;
    }
    QOR_ASSERT( Peek.Match( _string_ ) || Peek.Match( _eof_ ) );
    Lexer.NextToken();
    _Value = ResolveVariable( Lexer.GetToken() );
}

bool CReader::Next()
{
    const bool bResult = _pLexer->NextToken();
    if ( bResult && StartsWithAt( GetCurrent() ) )
    {
        GetCurrent() = ResolveVariable( GetCurrent() );
    }
    return bResult;
}

bool CReader::IsAtBlockEnd()
{
    _pLexer->PeekToken();
    return GetCurrent().Match( _closebrace_ ) || GetCurrent().Match( _eof_ );
}

bool CReader::IsAtEof()
{
    _pLexer->PeekToken();
    return GetCurrent().Match( _eof_ );
}

bool CReader::Peek( uint32 Type )
{
    _pLexer->PeekToken();
    return GetCurrent().Match( Type );
}

const CReader::SVariable* CReader::FindVariable( CQorStringView Name ) const
{
    // Only the hash is compared, as a definition only checks the hash for being taken.
    const uint32 Hash = HashVariableName( Name );
    for ( const SVariable& Variable : _Variables )
    {
        if ( Variable._NameHash == Hash )
        {
            return &Variable;
        }
    }
    return nullptr;
}

void CReader::DefineVariable()
{
    CLexer& Lexer = *_pLexer;
    const CString Name( Lexer.GetToken().GetText().Substr( 1 ) );
    bool bValid = !Name.IsEmpty() && IsAsciiLetter( Name[ 0 ] );
    for ( int32 Index = 1; bValid && Index < Name.GetSize(); ++Index )
    {
        bValid = IsNameCharacter( Name[ Index ] );
    }
    if ( !bValid )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, c_ErrorCategory ),
                   "Invalid variable name [%s]. Variable names must start with a letter and only contain letters, "
                   "numbers, or under scores. %s",
                   ShownText( Name ).GetData(), GetLocation() );
        return;
    }
    const bool bTaken = FindVariable( Name ) != nullptr;
    if ( bTaken )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, c_ErrorCategory ), "Variable name %s is already taken. %s",
                   ShownText( Name ).GetData(), GetLocation() );
    }
    if ( !Lexer.NextToken() || !Lexer.GetToken().Match( _equals_ ) )
    {
        return;
    }
    if ( !Lexer.PeekToken() )
    {
        Lexer.NextToken();
        return;
    }
    CToken Value = StartsWithAt( Lexer.GetToken() ) ? ResolveVariable( Lexer.GetToken() ) : Lexer.GetToken();
    Lexer.NextToken();
    // The first definition stays: a lookup would find it first anyway.
    if ( !bTaken )
    {
        _Variables.Add( SVariable { Name, HashVariableName( Name ), std::move( Value ) } );
    }
}

CToken CReader::ResolveVariable( const CToken& Token )
{
    if ( Token.IsQuoted() || !StartsWithAt( Token ) )
    {
        return Token;
    }
    const CQorStringView Text = Token.GetText();
    if ( Text.GetSize() >= 2 && Text[ 1 ] == '[' )
    {
        return EvaluateAdvancedStatement( Token );
    }
    const SVariable* pVariable = FindVariable( Text.Substr( 1 ) );
    return pVariable ? pVariable->_Value : Token;
}

CToken CReader::EvaluateAdvancedStatement( const CToken& Token )
{
    CString Expression( Token.GetText().Substr( 2 ) );
    if ( !Expression.IsEmpty() && Expression[ Expression.GetSize() - 1 ] == ']' )
    {
        Expression.Resize( Expression.GetSize() - 1 );
    }
    else
    {
        Expression += _pLexer->ReadUntil( ']' );
    }
    if ( Expression.IsEmpty() )
    {
        return Token;
    }

    CString Output;
    const int32 Size = Expression.GetSize();
    for ( int32 Index = 0; Index < Size; )
    {
        const char Char = Expression[ Index ];
        if ( IsAsciiLetter( Char ) )
        {
            const int32 Start = Index;
            while ( Index < Size && IsNameCharacter( Expression[ Index ] ) )
            {
                ++Index;
            }
            const CString Name( Expression.GetData() + Start, Index - Start );
            const SVariable* pVariable = FindVariable( Name );
            if ( !pVariable )
            {
                LogPrintf( SLogLocation( __FILE__, __LINE__, c_ErrorCategory ), "unknown variable [%s]. %s",
                           ShownText( Name ).GetData(), GetLocation() );
            }
            else if ( !pVariable->_Value.Match( _num_ ) && !pVariable->_Value.Match( _float_ ) )
            {
                LogPrintf( SLogLocation( __FILE__, __LINE__, c_ErrorCategory ), "Variable %s is not a number. %s",
                           ShownText( Name ).GetData(), GetLocation() );
                Output += '0';
            }
            else if ( pVariable->_Value.HasText() )
            {
                Output += pVariable->_Value.GetText();
            }
            else
            {
                // A number of a binary file has no text: its value is written out, a float only inside the fixed
                // point's range.
                char Buffer[ 32 ];
                std::to_chars_result Result { Buffer, std::errc {} };
                float Float = 0.0f;
                if ( pVariable->_Value.Match( _num_ ) )
                {
                    Result = to_chars( Buffer, Buffer + sizeof( Buffer ), pVariable->_Value.AsInt32() );
                }
                else if ( pVariable->_Value.GetFloat( Float ) && std::fabs( Float ) < 9.0e13f )
                {
                    Result = to_chars( Buffer, Buffer + sizeof( Buffer ), CFixedPoint( Float ) );
                }
                else
                {
                    *Result.ptr++ = '0';
                }
                Output += CQorStringView( Buffer, int32( Result.ptr - Buffer ), ENullTerminated::No );
            }
            continue;
        }
        if ( ( Char >= '0' && Char <= '9' ) || Char == '(' || Char == ')' || Char == '*' || Char == '+' ||
             Char == '-' || Char == '.' || Char == '/' )
        {
            Output += Char;
        }
        else if ( Char != ' ' && Char != '\t' )
        {
            LogPrintf( SLogLocation( __FILE__, __LINE__, c_ErrorCategory ),
                       "Invalid character '%c' in advanced statement at %s", Char, GetLocation() );
        }
        ++Index;
    }

    CFixedPoint Result;
    if ( NMathParser::Evaluate( Output, Result ) )
    {
        return CToken( Result );
    }
    LogPrintf( SLogLocation( __FILE__, __LINE__, c_ErrorCategory ), "Failed to parse advanced statement at %s",
               GetLocation() );
    return CToken( int32( 0 ) );
}

int32 CReader::GetSkipBlockDepth()
{
    return g_nSkipBlockLevel;
}

void CReader::ResetSkipBlockDepth()
{
    g_nSkipBlockLevel = 0;
}

void CReader::SkipBlock()
{
    // One level of the counter per block open, as a recursion would count them, without recursing.
    int32& nLevel = g_nSkipBlockLevel;
    ++nLevel;
    QOR_ASSERT( nLevel < 16 && "Skipping tokens really deep sir." );
    if ( !GetCurrent().Match( _openbrace_ ) )
    {
        --nLevel;
        return;
    }
    int32 Depth = 1;
    while ( Depth > 0 )
    {
        while ( !IsAtBlockEnd() )
        {
            if ( !Next() )
            {
                return;
            }
            if ( GetCurrent().Match( _openbrace_ ) )
            {
                ++nLevel;
                QOR_ASSERT( nLevel < 16 && "Skipping tokens really deep sir." );
                ++Depth;
            }
        }
        Next();
        --nLevel;
        --Depth;
    }
}

void CReader::SkipToEndOfBlock()
{
    int32 Depth = 0;
    while ( _pLexer->NextToken() )
    {
        if ( GetCurrent().Match( _openbrace_ ) )
        {
            ++Depth;
        }
        else if ( GetCurrent().Match( _closebrace_ ) )
        {
            if ( Depth == 0 )
            {
                return;
            }
            --Depth;
        }
    }
}

void CReader::SkipToBlockEnd()
{
    int32 Recursives = 0;
    for ( ;; )
    {
        if ( !_pLexer->PeekToken() || ( GetCurrent().Match( _closebrace_ ) && Recursives == 0 ) )
        {
            return;
        }
        Next();
        if ( GetCurrent().Match( _openbrace_ ) )
        {
            ++Recursives;
        }
        else if ( GetCurrent().Match( _closebrace_ ) )
        {
            // At depth 0 only a variable whose value is '}' gets here: the peek saw its name. It is skipped as
            // any other token, so the depth never goes below 0 and the block's own '}' still ends the skip.
            QOR_ASSERT( Recursives > 0 );
            Recursives = Recursives > 0 ? Recursives - 1 : 0;
        }
    }
}

void CReader::SkipValue()
{
    if ( _Value.Match( _openbrace_ ) )
    {
        SkipToEndOfBlock();
    }
}

void CReader::ReadStatements( CPersistent& Object, bool bBraced )
{
    const int32 FirstLine = GetLine();
    Object.OnReadBegin();
    while ( !IsAtBlockEnd() && ( IsOk() || _pLexer->GetFile()->IsGood() ) )
    {
        ReadStatement();
        // Type 0: only variables stood before the block's end.
        if ( _Key.GetType() != 0 )
        {
            Object.ReadToken( *this, _Key.GetType() );
        }
    }
    if ( bBraced )
    {
        if ( IsAtEof() )
        {
            RecordError( "Missing } at the end of the file" );
        }
        else
        {
            Next();
        }
    }
    Object.OnReadEnd( GetFileName(), FirstLine, GetLine() );
}

void CReader::ReadWithoutBraces( CPersistent& Object )
{
    for ( ;; )
    {
        ReadStatements( Object, false );
        if ( IsAtEof() )
        {
            return;
        }
        // A '}' with no block open: recorded and passed over.
        Next();
        RecordError( "Unexpected token" );
    }
}

bool CReader::Read( bool& Value )
{
    return _Value.GetBool( Value ) || MalformedToken();
}

bool CReader::Read( int64& Value )
{
    return _Value.GetInt64( Value ) || MalformedToken();
}

bool CReader::Read( uint64& Value )
{
    return _Value.GetUInt64( Value ) || MalformedToken();
}

bool CReader::Read( int32& Value )
{
    return _Value.GetInt32( Value ) || MalformedToken();
}

bool CReader::Read( uint32& Value )
{
    return _Value.GetUInt32( Value ) || MalformedToken();
}

bool CReader::Read( uint16& Value )
{
    return _Value.GetUInt16( Value ) || MalformedToken();
}

bool CReader::Read( int16& Value )
{
    return _Value.GetInt16( Value ) || MalformedToken();
}

bool CReader::Read( int8& Value )
{
    return _Value.GetInt8( Value ) || MalformedToken();
}

bool CReader::Read( uint8& Value )
{
    return _Value.GetUInt8( Value ) || MalformedToken();
}

bool CReader::Read( float& Value )
{
    return _Value.GetFloat( Value ) || MalformedToken();
}

bool CReader::ReadHexadecimal( uint32& Value )
{
    return _Value.GetHexadecimal( Value ) || MalformedToken();
}

bool CReader::Read( CFixedPoint& Value )
{
    if ( _pLexer->IsBinary() )
    {
        int64 Raw = 0;
        if ( !_Value.GetInt64( Raw ) )
        {
            return MalformedToken();
        }
        Value = CFixedPoint::FromRaw( Raw );
        return true;
    }
    return _Value.GetFixedPoint( Value ) || MalformedToken();
}

bool CReader::Read( CString& Value, bool AllowNewline )
{
    _Value.GetString( Value );
    if ( !AllowNewline && Value.Find( '\n' ) >= 0 )
    {
        MalformedToken();
        Value = "Unreadable String";
        return false;
    }
    return true;
}

bool CReader::Read( std::string& Value )
{
    CString Text;
    Read( Text, true );
    Value = Text.GetStdString();
    return true;
}

int32 CReader::ReadFloats( float* pValues, int32 MinCount, int32 MaxCount )
{
    int32 Count = 0;
    for ( ;; )
    {
        if ( !Next() )
        {
            MalformedToken( "Expected }" );
            return -1;
        }
        const CToken& Token = GetCurrent();
        if ( Token.Match( _closebrace_ ) && Count >= MinCount )
        {
            return Count;
        }
        if ( Count == MaxCount || !( Token.Match( _num_ ) || Token.Match( _float_ ) ) ||
             !Token.GetFloat( pValues[ Count ] ) )
        {
            MalformedToken();
            return -1;
        }
        ++Count;
    }
}

bool CReader::ReadColor( CVector<float, 4>& Value )
{
    if ( _Value.Match( _num_ ) )
    {
        uint32 Packed = 0;
        if ( !_Value.GetHexadecimal( Packed ) )
        {
            return MalformedToken();
        }
        Value = CVector<float, 4>( float( ( Packed >> 16 ) & 0xFF ) / 255.0f, float( ( Packed >> 8 ) & 0xFF ) / 255.0f,
                                   float( Packed & 0xFF ) / 255.0f, float( Packed >> 24 ) / 255.0f );
        return true;
    }
    const uint32 Model = _Value.GetType();
    if ( Model == _colour_hue_ || Model == _colour_second_ || Model == _colour_third_ )
    {
        if ( !Next() || !GetCurrent().Match( _openbrace_ ) )
        {
            return MalformedToken();
        }
    }
    else if ( Model != _openbrace_ )
    {
        return MalformedToken();
    }
    float Channels[ 4 ] = { 0.0f, 0.0f, 0.0f, 1.0f };
    if ( ReadFloats( Channels, 3, 4 ) < 0 )
    {
        return false;
    }
    for ( float& Channel : Channels )
    {
        Channel = Channel > 1.0f ? Channel / 255.0f : Channel;
    }
    if ( Model == _colour_hue_ )
    {
        float Rgb[ 3 ];
        HueToRgb( Channels, Rgb );
        Value = CVector<float, 4>( Rgb[ 0 ], Rgb[ 1 ], Rgb[ 2 ], Channels[ 3 ] );
        return true;
    }
    Value = CVector<float, 4>( Channels[ 0 ], Channels[ 1 ], Channels[ 2 ], Channels[ 3 ] );
    return true;
}

bool CReader::ReadVector( CVector<float, 3>& Value )
{
    uint32 Form = _vector_plain_;
    if ( !_Value.Match( _openbrace_ ) )
    {
        Form = _Value.GetType();
        if ( ( Form != _vector_plain_ && Form != _vector_spherical_ && Form != _vector_cylindrical_ ) || !Next() ||
             !GetCurrent().Match( _openbrace_ ) )
        {
            return MalformedToken();
        }
    }
    float Components[ 3 ];
    if ( ReadFloats( Components, 3, 3 ) < 0 )
    {
        return false;
    }
    constexpr float DegreesToRadians = 0.017453292f;
    constexpr float Pi = 3.1415927f;
    if ( Form == _vector_spherical_ )
    {
        const float A = Components[ 1 ] * DegreesToRadians + Pi;
        const float B = Components[ 2 ] * DegreesToRadians;
        const float Radius = Components[ 0 ];
        Value = CVector<float, 3>( Radius * std::sin( A ) * std::cos( B ), Radius * std::sin( A ) * std::sin( B ),
                                   Radius * std::cos( A ) );
    }
    else if ( Form == _vector_cylindrical_ )
    {
        const float A = Components[ 2 ] * DegreesToRadians + Pi;
        Value = CVector<float, 3>( Components[ 0 ] * std::sin( A ), Components[ 1 ], Components[ 0 ] * std::cos( A ) );
    }
    else
    {
        Value = CVector<float, 3>( Components[ 0 ], Components[ 1 ], Components[ 2 ] );
    }
    return true;
}

bool CReader::ReadBuffer( CQorArray<uint8>& Data )
{
    CFile& File = *_pLexer->GetFile();
    const int64 Size = File.GetSize();
    if ( _pLexer->IsBinary() )
    {
        if ( File.GetPosition() + 4 > Size )
        {
            QOR_ASSERT_MSG( false, "Not enough left of the file to even read the size of the data" );
            return MalformedToken( "Not enough left of the file to even read the size of the data" );
        }
        uint32 Count = 0;
        File.Read( &Count, sizeof( Count ) );
        if ( File.GetPosition() + int64( Count ) > Size )
        {
            QOR_ASSERT_MSG( false, "Trying to read buffer beyond EOF" );
            return MalformedToken( "Trying to read buffer beyond EOF" );
        }
        Data.Resize( int32( Count ) );
        return Count == 0 || File.Read( Data.GetData(), int32( Count ) );
    }

    QOR_ASSERT_MSG( false, "Non-binary buffer reading is very much untested, and should not be used for large "
                           "buffers, e.g., transferring save games" );
    uint32 DecodedSize = 0;
    uint32 EncodedSize = 0;
    if ( File.GetPosition() + 8 > Size || !File.Read( &DecodedSize, sizeof( DecodedSize ) ) ||
         !File.Read( &EncodedSize, sizeof( EncodedSize ) ) || File.GetPosition() + int64( EncodedSize ) > Size ||
         EncodedSize % BASE64_OUTPUT != 0 || int64( EncodedSize ) / BASE64_OUTPUT * BASE64_INPUT < DecodedSize ||
         int64( DecodedSize ) + BASE64_INPUT <= int64( EncodedSize ) / BASE64_OUTPUT * BASE64_INPUT )
    {
        return MalformedToken( "Trying to read buffer beyond EOF" );
    }
    CString Encoded;
    Encoded.Resize( int32( EncodedSize ) );
    if ( EncodedSize > 0 && !File.Read( &Encoded[ 0 ], int32( EncodedSize ) ) )
    {
        return MalformedToken( "Trying to read buffer beyond EOF" );
    }
    // The decoder would report a character outside its alphabet; here it is the file's error.
    for ( int32 Index = 0; Index < Encoded.GetSize(); ++Index )
    {
        if ( !std::strchr( BASE64_ALPHABET, Encoded[ Index ] ) || Encoded[ Index ] == 0 )
        {
            return MalformedToken( "Malformed buffer" );
        }
    }
    // The decoder writes whole blocks: room for the last one, cut to the size after.
    Data.Resize( int32( EncodedSize / BASE64_OUTPUT * BASE64_INPUT ) );
    const uint32 Decoded = EncodedSize > 0 ? Base64Decode( Data.GetData(), Encoded.GetData(), EncodedSize ) : 0;
    Data.Resize( int32( std::min( Decoded, DecodedSize ) ) );
    return Decoded == DecodedSize || MalformedToken( "Malformed buffer" );
}

void CReader::ReadStringArray( CQorArray<CString>& Strings )
{
    if ( !_Value.Match( _openbrace_ ) )
    {
        MalformedToken();
        return;
    }
    while ( !IsAtBlockEnd() )
    {
        Next();
        CString Text;
        GetCurrent().GetString( Text );
        Strings.Add( std::move( Text ) );
    }
    Next();
}

bool CReader::GetRawStringBackward( CString& Text )
{
    CFile* pFile = _pLexer->GetFile();
    QOR_ASSERT( !pFile->IsBinary() );
    // A text file counts the end it gave out as a character: the position may stand one past the size.
    const int64 End = std::min( pFile->GetPosition(), pFile->GetSize() );
    if ( pFile->IsBinary() || End == 0 )
    {
        QOR_ASSERT_MSG( End != 0, "Expected not to start at the beginning" );
        return false;
    }
    auto ByteAt = [ pFile ]( int64 Position )
    {
        char Char = 0;
        pFile->Seek( uint64( Position ) );
        pFile->Read( &Char, 1 );
        return Char;
    };
    bool bFound = false;
    int64 Start = End - 2;
    if ( ByteAt( End - 1 ) != '"' )
    {
        QOR_ASSERT_MSG( false, "Expected to start at string end" );
    }
    else
    {
        for ( ; Start >= 0; --Start )
        {
            if ( ByteAt( Start ) == '"' && ( Start == 0 || ByteAt( Start - 1 ) != '\\' ) )
            {
                bFound = true;
                break;
            }
        }
        QOR_ASSERT_MSG( bFound, "Failed to find start of quote!" );
    }
    if ( bFound )
    {
        Text.Resize( int32( End - 2 - Start ) );
        pFile->Seek( uint64( Start + 1 ) );
        if ( Text.GetSize() > 0 )
        {
            pFile->Read( &Text[ 0 ], Text.GetSize() );
        }
    }
    pFile->Seek( uint64( End ) );
    return bFound;
}

void CReader::RecordError( CQorStringView Message )
{
    const CQorStringView Text = GetCurrent().Match( _eof_ ) ? CQorStringView() : GetCurrent().GetText();
    _Errors.Add( SError { CString( Message ), GetLine(), CString( Text ) } );
    _bFailed = true;
}

void CReader::UnexpectedToken()
{
    UnexpectedToken( "Unexpected token" );
}

void CReader::UnexpectedToken( CQorStringView Message )
{
    RecordError( Message );
    SkipBlock();
}

bool CReader::MalformedToken()
{
    return MalformedToken( "Malformed token" );
}

bool CReader::MalformedToken( CQorStringView Message )
{
    if ( _pErrorHandler )
    {
        _pErrorHandler->_bCalled = true;
        if ( _pErrorHandler->Handle( *this ) )
        {
            _pErrorHandler->_bHandled = true;
            return true;
        }
    }
    RecordError( Message );
    return false;
}

int32 CReader::GetLine() const
{
    return _pLexer->GetFile()->GetLineNumber();
}

const CString& CReader::GetFileName() const
{
    return _pLexer->GetFile()->GetFileName();
}

const char* CReader::GetLocation() const
{
    // The names live as long as the thread, so that a location kept by a message stays readable.
    thread_local CQorArray<CString> s_Names;
    thread_local CString s_Location;
    const CString& Name = GetFileName();
    const CString* pName = s_Names.Find( Name );
    if ( !pName )
    {
        pName = s_Names.Add( Name );
    }
    const int32 Line = GetLine();
    char Buffer[ 32 ];
    s_Location = " file: ";
    s_Location += *pName;
    if ( Line >= 0 )
    {
        std::snprintf( Buffer, sizeof( Buffer ), " line: %d", Line );
        s_Location += Buffer;
    }
    return s_Location.GetData();
}

void CReader::ReportErrors()
{
    if ( _Errors.IsEmpty() )
    {
        return;
    }
    CString Text;
    int32 Shown = 0;
    for ( const SError& Error : _Errors )
    {
        CString Rendered = ShownText( Error._Message );
        Rendered += ": ";
        Rendered += ShownText( Error._Text );
        char Line[ 32 ];
        std::snprintf( Line, sizeof( Line ), ", near line: %d\n", Error._Line );
        Rendered += Line;
        if ( Text.GetSize() + Rendered.GetSize() > c_ReportLength )
        {
            break;
        }
        Text += Rendered;
        ++Shown;
    }
    if ( Shown < _Errors.GetSize() )
    {
        char More[ 48 ];
        std::snprintf( More, sizeof( More ), "... and %d more\n", _Errors.GetSize() - Shown );
        Text += More;
    }
    Text.Resize( Text.GetSize() - 1 );
    LogPrintf( SLogLocation( __FILE__, __LINE__, c_ErrorCategory ), "Error: \"%s\" in file: \"%s\" near line: %d",
               Text.GetData(), GetFileName().GetData(), GetLine() );
    _Errors.Clear();
}

void CReader::MakePathRelativeToFile( CQorStringView Path, CString& Out ) const
{
    const CString& FileName = GetFileName();
    const int32 Slash = FileName.FindLast( '/' );
    Out = Slash >= 0 ? FileName.Substr( 0, Slash + 1 ) : CString();
    Out += Path;
    // Each "/../" takes the directory before it along, while there is one.
    for ( ;; )
    {
        const int32 Up = Out.Find( "/../" );
        if ( Up <= 0 )
        {
            return;
        }
        const int32 Parent = Out.ReverseFind( '/', Up - 1 );
        const CString Segment = Out.Substr( Parent + 1, Up );
        if ( Segment == ".." )
        {
            return;
        }
        Out = Out.Substr( 0, Parent + 1 ) + CQorStringView( Out.GetData() + Up + 4 );
    }
}
