#include "qor_core/memoryfile.h"

#include "qor_core/qor_assert.h"

#include <cstring>

CMemoryFile::CMemoryFile( uint32 Type ) : CFile( Type, OPEN_READ )
{
}

CMemoryFile::CMemoryFile( CBlob* pBlob, uint32 Type, uint32 Mode, bool bOwnsBlob )
    : CFile( Type, Mode ), _pBlob( pBlob ), _bOwnsBlob( bOwnsBlob )
{
    QOR_ASSERT( pBlob );
    if ( pBlob )
    {
        Reopen( Type, Mode );
    }
}

// The blob is only ever read through: the file is read-only, so Reopen keeps it in read mode and Write refuses.
CMemoryFile::CMemoryFile( const CBlob& Blob, uint32 Type )
    : CFile( Type, OPEN_READ ), _pBlob( const_cast<CBlob*>( &Blob ) ), _bReadOnly( true )
{
}

CMemoryFile::CMemoryFile( uint8* pBuffer, int32 Capacity, uint32 Type, uint32 Mode )
    : CFile( Type, Mode ), _pBuffer( pBuffer ), _Capacity( Capacity )
{
}

// Read-only, and a capacity of 0 besides: the constant block is never written.
CMemoryFile::CMemoryFile( const void* pData, int32 Size, uint32 Type )
    : CFile( Type, OPEN_READ ), _pBuffer( static_cast<uint8*>( const_cast<void*>( pData ) ) ), _Size( Size ),
      _Capacity( 0 ), _bReadOnly( true )
{
}

CMemoryFile::CMemoryFile( const CMemoryFile& Other )
    : CFile( Other ), _pBlob( Other._bOwnsBlob ? new CBlob( *Other._pBlob ) : Other._pBlob ),
      _pBuffer( Other._pBuffer ), _Size( Other._Size ), _Position( Other._Position ), _Capacity( Other._Capacity ),
      _bFailed( Other._bFailed ), _bOwnsBlob( Other._bOwnsBlob ), _bReadOnly( Other._bReadOnly )
{
}

CMemoryFile::~CMemoryFile()
{
    if ( _bOwnsBlob )
    {
        delete _pBlob;
    }
}

char CMemoryFile::GetChar()
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
    // A zero byte ends the text as the end of the data does.
    char Char = char( 255 );
    // The memory's own size: no call through the table for each character.
    if ( _Position < CMemoryFile::GetSize() && GetData()[ _Position ] != 0 )
    {
        Char = char( GetData()[ _Position ] );
    }
    ++_Position;
    _LastChar = Char;
    return Char;
}

bool CMemoryFile::Reopen( uint32 Type, uint32 Mode )
{
    ResetFile( Type, Mode );
    if ( !_pBlob && !_pBuffer )
    {
        QOR_ASSERT_MSG( false, "No file to reopen" );
        return false;
    }
    if ( _bReadOnly && Mode != OPEN_READ )
    {
        QOR_ASSERT_MSG( false, "A read-only memory file can't be opened for writing" );
        ResetFile( Type, OPEN_READ );
        _Position = 0;
        return false;
    }
    switch ( Mode )
    {
    case OPEN_READ:
        _Position = 0;
        return true;
    case OPEN_WRITE:
        if ( _pBlob )
        {
            _pBlob->Clear();
        }
        else
        {
            _Size = 0;
        }
        _Position = 0;
        return true;
    case OPEN_WRITE_APPEND:
        _Position = int32( GetSize() );
        return true;
    default:
        QOR_ASSERT_MSG( false, "Not Implemented!" );
        return false;
    }
}

bool CMemoryFile::Read( void* pData, int32 Size )
{
    QOR_ASSERT( Size >= 0 );
    if ( Size < 0 || int64( _Position ) + Size > GetSize() )
    {
        return false;
    }
    if ( Size > 0 )
    {
        std::memcpy( pData, GetData() + _Position, size_t( Size ) );
    }
    _Position += Size;
    return true;
}

bool CMemoryFile::ReadBlob( CBlob& Blob )
{
    QOR_ASSERT( !IsWriteMode() );
    const int32 Size = int32( GetSize() );
    if ( &Blob != _pBlob )
    {
        Blob.Clear();
        Blob.Append( GetData(), Size );
    }
    _Position += Size;
    return true;
}

void CMemoryFile::Write( const void* pData, int32 Size )
{
    QOR_ASSERT_MSG( IsWriteMode(), "Can't write data on Read Mode" );
    QOR_ASSERT( Size >= 0 );
    if ( !IsWriteMode() || Size <= 0 )
    {
        return;
    }
    if ( _pBlob )
    {
        const int32 nOverwritten = std::min( Size, _pBlob->GetSize() - _Position );
        if ( nOverwritten > 0 )
        {
            std::memmove( _pBlob->GetData() + _Position, pData, size_t( nOverwritten ) );
        }
        const int32 nAppended = Size - std::max( nOverwritten, 0 );
        _pBlob->Append( static_cast<const uint8*>( pData ) + ( Size - nAppended ), nAppended );
        _Position += Size;
        return;
    }
    if ( int64( _Position ) + Size > _Capacity )
    {
        _bFailed = true;
        QOR_ASSERT_MSG( false, "Out of space, will not write the Data." );
        return;
    }
    std::memmove( _pBuffer + _Position, pData, size_t( Size ) );
    _Position += Size;
    _Size = std::max( _Size, _Position );
}

bool CMemoryFile::IsGood() const
{
    return !_bFailed && uint8( _LastChar ) < 255;
}

bool CMemoryFile::Seek( uint64 Position )
{
    if ( Position > uint64( GetSize() ) )
    {
        QOR_ASSERT_MSG( false, "Seeking out of bounds" );
        return false;
    }
    _Position = int32( Position );
    return true;
}

bool CMemoryFile::SeekEnd()
{
    _Position = int32( GetSize() );
    return true;
}

bool CMemoryFile::Rewind()
{
    _bFailed = false;
    _Position = 0;
    return true;
}

bool CMemoryFile::IsEof() const
{
    return _Position >= GetSize();
}

uint32 CMemoryFile::GetChecksum( int32 MaxSize )
{
    QOR_ASSERT( GetSize() >= MaxSize && "Provided size is bigger than the size of file." );
    Rewind();
    const int32 Size = MaxSize < 0 ? int32( GetSize() ) : std::min( MaxSize, int32( GetSize() ) );
    uint32 SumA = 0;
    uint32 SumB = 0;
    NFile::AddToChecksum( SumA, SumB, GetData(), Size );
    _Position = Size;
    return NFile::CombineChecksum( SumA, SumB );
}

bool CMemoryFile::ReadRange( int32 Start, int32 End, FReadRangeCallback Callback, void* pUser )
{
    if ( End < 0 )
    {
        End = int32( GetSize() );
    }
    QOR_ASSERT( Start >= 0 && Start <= End && End <= GetSize() );
    if ( Start < 0 || Start > End || End > GetSize() )
    {
        return false;
    }
    Callback( pUser, GetData() + Start, End - Start );
    _Position = End;
    return true;
}
