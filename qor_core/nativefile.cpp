#include "qor_core/nativefile.h"

#include "qor_core/blob.h"
#include "qor_core/qor_assert.h"

#include <algorithm>
#include <cstring>

CNativeFile::CNativeFile( const char* pPath, uint32 Type, uint32 Mode )
    : CFile( Type, Mode ), _pBuffer( new uint8[ c_BufferSize ] )
{
    _FileName = pPath ? pPath : "";
    Open();
}

CNativeFile::~CNativeFile()
{
    Close();
}

void CNativeFile::Open()
{
    _Handle = NPlatform::OpenFile( _FileName.GetData(), _Mode );
    _BufferPos = 0;
    _BufferEnd = 0;
    _bFailed = false;
    _SystemPosition = 0;
    if ( IsOpen() && _Mode == OPEN_WRITE_APPEND )
    {
        _SystemPosition = NPlatform::GetFileSize( _Handle );
    }
}

void CNativeFile::Close()
{
    if ( IsOpen() )
    {
        Flush();
        NPlatform::CloseFile( _Handle );
        _Handle = NPlatform::INVALID_FILE_HANDLE;
    }
}

bool CNativeFile::Flush()
{
    if ( !IsOpen() )
    {
        return false;
    }
    if ( !IsWriteMode() || _BufferEnd == 0 )
    {
        return !_bFailed;
    }
    const int64 nWritten = NPlatform::WriteFile( _Handle, _pBuffer.Get(), _BufferEnd );
    _SystemPosition += std::max<int64>( nWritten, 0 );
    _bFailed |= nWritten != _BufferEnd;
    _BufferEnd = 0;
    return !_bFailed;
}

bool CNativeFile::Fill()
{
    _BufferPos = 0;
    _BufferEnd = 0;
    if ( !IsOpen() )
    {
        return false;
    }
    const int64 nRead = NPlatform::ReadFile( _Handle, _pBuffer.Get(), c_BufferSize );
    if ( nRead <= 0 )
    {
        return false;
    }
    _BufferEnd = int32( nRead );
    _SystemPosition += nRead;
    return true;
}

char CNativeFile::GetChar()
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
    // A zero byte ends the text as the end of the file does.
    char Char = char( 255 );
    if ( !IsWriteMode() && ( _BufferPos < _BufferEnd || Fill() ) )
    {
        const uint8 Byte = _pBuffer[ _BufferPos++ ];
        Char = Byte != 0 ? char( Byte ) : char( 255 );
    }
    _LastChar = Char;
    return Char;
}

bool CNativeFile::Reopen( uint32 Type, uint32 Mode )
{
    Close();
    ResetFile( Type, Mode );
    Open();
    return IsOpen();
}

bool CNativeFile::Read( void* pData, int32 Size )
{
    QOR_ASSERT( !IsWriteMode() );
    QOR_ASSERT( Size >= 0 );
    if ( IsWriteMode() || Size < 0 )
    {
        return false;
    }
    uint8* pOut = static_cast<uint8*>( pData );
    const int32 nBuffered = std::min( Size, _BufferEnd - _BufferPos );
    std::memcpy( pOut, _pBuffer.Get() + _BufferPos, size_t( nBuffered ) );
    _BufferPos += nBuffered;
    int32 nLeft = Size - nBuffered;
    pOut += nBuffered;
    // Blocks as large as the buffer go straight to the caller; the rest comes through the buffer.
    if ( nLeft >= c_BufferSize && IsOpen() )
    {
        _BufferPos = 0;
        _BufferEnd = 0;
        const int64 nRead = std::max<int64>( NPlatform::ReadFile( _Handle, pOut, nLeft ), 0 );
        _SystemPosition += nRead;
        return nRead == nLeft;
    }
    while ( nLeft > 0 && Fill() )
    {
        const int32 nTaken = std::min( nLeft, _BufferEnd );
        std::memcpy( pOut, _pBuffer.Get(), size_t( nTaken ) );
        _BufferPos = nTaken;
        pOut += nTaken;
        nLeft -= nTaken;
    }
    return nLeft == 0;
}

bool CNativeFile::ReadBlob( CBlob& Blob )
{
    QOR_ASSERT( !IsWriteMode() );
    if ( IsWriteMode() || !Rewind() )
    {
        return false;
    }
    const int64 Size = GetSize();
    Blob.Clear();
    Blob.Resize( int32( Size ) );
    return Read( Blob.GetData(), int32( Size ) );
}

void CNativeFile::Write( const void* pData, int32 Size )
{
    QOR_ASSERT( IsWriteMode() );
    QOR_ASSERT( Size >= 0 );
    if ( !IsWriteMode() || !IsOpen() || Size <= 0 )
    {
        return;
    }
    if ( _BufferEnd + Size <= c_BufferSize )
    {
        std::memcpy( _pBuffer.Get() + _BufferEnd, pData, size_t( Size ) );
        _BufferEnd += Size;
        return;
    }
    Flush();
    if ( Size < c_BufferSize )
    {
        std::memcpy( _pBuffer.Get(), pData, size_t( Size ) );
        _BufferEnd = Size;
        return;
    }
    const int64 nWritten = NPlatform::WriteFile( _Handle, pData, Size );
    _SystemPosition += std::max<int64>( nWritten, 0 );
    _bFailed |= nWritten != Size;
}

bool CNativeFile::IsGood() const
{
    return IsOpen() && !_bFailed && uint8( _LastChar ) < 255;
}

bool CNativeFile::Seek( uint64 Position )
{
    if ( !IsOpen() )
    {
        return false;
    }
    if ( Position > uint64( GetSize() ) )
    {
        QOR_ASSERT_MSG( false, "Seeking out of bounds" );
        return false;
    }
    if ( IsWriteMode() )
    {
        Flush();
    }
    else
    {
        // A target inside the read-ahead needs no system call.
        const int64 BufferStart = _SystemPosition - _BufferEnd;
        if ( int64( Position ) >= BufferStart && int64( Position ) <= _SystemPosition )
        {
            _BufferPos = int32( int64( Position ) - BufferStart );
            return true;
        }
        _BufferPos = 0;
        _BufferEnd = 0;
    }
    if ( !NPlatform::SeekFile( _Handle, int64( Position ) ) )
    {
        return false;
    }
    _SystemPosition = int64( Position );
    return true;
}

bool CNativeFile::SeekEnd()
{
    return Seek( uint64( GetSize() ) );
}

bool CNativeFile::Rewind()
{
    _bFailed = false;
    _LastChar = 0;
    _bUnget = false;
    return Seek( 0 );
}

bool CNativeFile::IsEof() const
{
    return !IsWriteMode() && GetPosition() >= GetSize();
}

int64 CNativeFile::GetPosition() const
{
    return IsWriteMode() ? _SystemPosition + _BufferEnd : _SystemPosition - ( _BufferEnd - _BufferPos );
}

int64 CNativeFile::GetSize() const
{
    if ( !IsOpen() )
    {
        return 0;
    }
    const int64 StoredSize = NPlatform::GetFileSize( _Handle );
    return IsWriteMode() ? std::max( StoredSize, _SystemPosition + _BufferEnd ) : StoredSize;
}

uint64 CNativeFile::GetModifiedTime() const
{
    return IsOpen() ? NPlatform::GetFileModifiedTime( _Handle ) : 0;
}

bool CNativeFile::Exists() const
{
    return NPlatform::FileExists( _FileName.GetData() );
}
