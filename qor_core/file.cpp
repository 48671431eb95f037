#include "qor_core/file.h"

#include "qor_core/qor_assert.h"

#include <algorithm>

void CFile::UngetChar( char )
{
    QOR_ASSERT( !IsBinary() );
    QOR_ASSERT( !IsWriteMode() );
    _bUnget = true;
    if ( _LastChar == '\n' )
    {
        --_LineNumber;
    }
}

bool CFile::Seek( uint64 )
{
    return false;
}

bool CFile::SeekEnd()
{
    QOR_ASSERT_MSG( false, "Not implemented" );
    return false;
}

bool CFile::Rewind()
{
    return false;
}

bool CFile::IsEof() const
{
    return false;
}

uint64 CFile::GetModifiedTime() const
{
    return 0;
}

uint32 CFile::GetChecksum( int32 )
{
    QOR_ASSERT_MSG( false, "Not implemented" );
    return 0;
}

bool CFile::ReadRange( int32 Start, int32 End, FReadRangeCallback Callback, void* pUser )
{
    if ( End < 0 )
    {
        End = int32( GetSize() );
    }
    QOR_ASSERT( _Mode == OPEN_READ && Start >= 0 && Start <= End && End <= (int32)GetSize() );
    if ( _Mode != OPEN_READ || Start < 0 || Start > End || End > GetSize() || !Seek( uint64( Start ) ) )
    {
        return false;
    }
    uint8 Block[ 65536 ];
    for ( int32 Position = Start; Position < End; )
    {
        const int32 Size = std::min<int32>( End - Position, int32( sizeof( Block ) ) );
        if ( !Read( Block, Size ) )
        {
            return false;
        }
        Callback( pUser, Block, Size );
        Position += Size;
    }
    return true;
}

bool CFile::Exists() const
{
    return false;
}

void CFile::ResetFile( uint32 Type, uint32 Mode )
{
    _Type = Type;
    _Mode = Mode;
    _bUnget = false;
    _LineNumber = 1;
    _LastChar = 0;
}

void WriteString( CFile& File, CQorStringView Text )
{
    File.Write( Text.GetData(), Text.GetSize() );
}

namespace NFile
{
namespace
{
// The sums subtract 65535 when they pass 65535, so they hold their total modulo 65535, but as 65535 rather
// than 0 once the total is positive: 0 stands only for a total of 0.
inline uint32 Reduce( uint64 Total )
{
    return Total == 0 ? 0 : uint32( ( Total - 1 ) % 65535 + 1 );
}
} // namespace

// Reducing once per run of bytes instead of per byte gives the same sums: reduction commutes with adding,
// zero stays zero, and the wide totals can't overflow within a run.
void AddToChecksum( uint32& SumA, uint32& SumB, const void* pData, int64 Size )
{
    const uint8* pBytes = static_cast<const uint8*>( pData );
    constexpr int64 c_RunLength = 1 << 16;
    while ( Size > 0 )
    {
        const int64 nRun = std::min( Size, c_RunLength );
        uint64 A = SumA;
        uint64 B = SumB;
        for ( int64 i = 0; i < nRun; ++i )
        {
            A += pBytes[ i ];
            B += A;
        }
        SumA = Reduce( A );
        SumB = Reduce( B );
        pBytes += nRun;
        Size -= nRun;
    }
}
} // namespace NFile
