#include "qor_core/file.h"

#include "qor_core/blob.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_exception.h"
#include "qor_core/virtualfilesystem.h"

#include <algorithm>

void CFile::UngetChar( char )
{
    QOR_CHECK( !IsBinary() );
    QOR_CHECK( !IsWriteMode() );
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

bool CFile::ReadInt32( int32* pValue )
{
    return Read( pValue, sizeof( *pValue ) );
}

void CFile::WriteBlob( const CBlob& Blob )
{
    Write( Blob.GetData(), Blob.GetSize() );
}

void CFile::WriteInt32( int32 Value )
{
    Write( &Value, sizeof( Value ) );
}

void CFile::WriteUInt8( uint8 Value )
{
    Write( &Value, sizeof( Value ) );
}

bool CFile::Flush()
{
    return true;
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
    if ( CArchiveFile* pArchiveFile = dynamic_cast<CArchiveFile*>( &File ) )
    {
        pArchiveFile->WriteChecked( Text.GetData(), uint64( Text.GetSize() ), "Failed writing full string" );
        return;
    }
    File.Write( Text.GetData(), Text.GetSize() );
}

CArchiveFile::CArchiveFile( const CString& FileName, uint32 Type, uint32 Mode ) : CFile( Type, Mode )
{
    QOR_ASSERT( FileName.Find( "\\" ) == -1 && "\\ is not allowed, use forward slash" );
    _FileName = FileName;
    CVFSOpenResult Result = VFSOpen( FileName, Mode, c_BufferSize );
    if ( Result.IsFailure() )
    {
        throw CQorFileException( __FILE__, __LINE__, CString( "Could not open file: " ) + FileName );
    }
    _pHandle = Result.MoveValue();
}

CArchiveFile::CArchiveFile( SVFSFile* pHandle ) : CFile( 1, OPEN_READ ), _pHandle( pHandle )
{
    QOR_ASSERT( pHandle );
}

CArchiveFile::~CArchiveFile()
{
    VFSClose( _pHandle );
}

char CArchiveFile::GetChar()
{
    QOR_CHECK( !IsWriteMode() );
    QOR_CHECK( !IsBinary() );
    if ( _LastChar == '\n' )
    {
        ++_LineNumber;
    }
    if ( _bUnget )
    {
        _bUnget = false;
        return _LastChar;
    }
    char Char = -1;
    if ( _pHandle == nullptr || _bEof || VFSRead( _pHandle, &Char, 1 ) != 1 )
    {
        Char = -1;
        _bEof = true;
    }
    _LastChar = Char;
    return Char;
}

bool CArchiveFile::Reopen( uint32 Type, uint32 Mode )
{
    // A handle taken over has no name to open again.
    QOR_ASSERT_MSG( _pHandle != nullptr && !_FileName.IsEmpty(), "No file to reopen" );
    if ( _pHandle == nullptr || _FileName.IsEmpty() )
    {
        return false;
    }
    ResetFile( Type, Mode );
    _bEof = false;
    VFSClose( _pHandle );
    _pHandle = nullptr;
    CVFSOpenResult Result = VFSOpen( _FileName, Mode, c_BufferSize );
    if ( Result.IsFailure() )
    {
        return false;
    }
    _pHandle = Result.MoveValue();
    return true;
}

bool CArchiveFile::Read( void* pData, int32 Size )
{
    if ( _pHandle == nullptr || Size < 0 )
    {
        return false;
    }
    const uint64 nRead = VFSRead( _pHandle, pData, uint64( Size ) );
    if ( nRead != uint64( Size ) )
    {
        _bEof = true;
        return false;
    }
    return true;
}

bool CArchiveFile::ReadBlob( CBlob& Blob )
{
    QOR_ASSERT( !IsWriteMode() );
    const int64 Size = GetSize();
    if ( _pHandle == nullptr || Size < 0 || Size > INT32_MAX || !Seek( 0 ) )
    {
        return false;
    }
    Blob.Resize( int32( Size ) );
    const uint64 nRes = VFSRead( _pHandle, Blob.GetData(), uint64( Size ) );
    QOR_ASSERT( nRes == (uint64)Size );
    if ( nRes != uint64( Size ) )
    {
        Blob.Resize( int32( nRes ) );
        _bEof = true;
        return false;
    }
    return true;
}

void CArchiveFile::Write( const void* pData, int32 nSize )
{
    QOR_ASSERT( IsBinary() || nSize < 1024 * 128 );
    WriteChecked( pData, nSize < 0 ? 0 : uint64( nSize ), "Failed writing file" );
}

void CArchiveFile::WriteChecked( const void* pData, uint64 Size, const char* pFailure )
{
    QOR_ASSERT( IsWriteMode() );
    if ( !IsWriteMode() || Size == 0 )
    {
        return;
    }
    if ( _pHandle == nullptr || VFSWrite( _pHandle, pData, Size ) != Size )
    {
        throw CQorFileException( __FILE__, __LINE__, pFailure );
    }
}

bool CArchiveFile::IsGood() const
{
    return _pHandle != nullptr && !_bEof;
}

bool CArchiveFile::Seek( uint64 Position )
{
    if ( _pHandle == nullptr || Position > uint64( INT64_MAX ) || !VFSSeek( _pHandle, int64( Position ), 0 ) )
    {
        return false;
    }
    _bEof = false;
    return true;
}

bool CArchiveFile::SeekEnd()
{
    return _pHandle != nullptr && VFSSeek( _pHandle, 0, 2 );
}

bool CArchiveFile::Rewind()
{
    return Seek( 0 );
}

bool CArchiveFile::IsEof() const
{
    return _pHandle == nullptr || _bEof || VFSEof( _pHandle );
}

int64 CArchiveFile::GetPosition() const
{
    return VFSTell( _pHandle );
}

int64 CArchiveFile::GetSize() const
{
    return _pHandle ? VFSFileSize( _pHandle ) : 0;
}

uint64 CArchiveFile::GetModifiedTime() const
{
    uint64 Time = 0;
    return VFSStat( _FileName, &Time, nullptr ) ? Time : 0;
}

uint32 CArchiveFile::GetChecksum( int32 MaxSize )
{
    _bEof = false;
    return VFSChecksum( _pHandle, MaxSize );
}

bool CArchiveFile::Exists() const
{
    return !_FileName.IsEmpty() && VFSStat( _FileName, nullptr, nullptr );
}

bool CArchiveFile::Flush()
{
    return VFSFlush( _pHandle );
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
