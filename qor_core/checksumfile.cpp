#include "qor_core/checksumfile.h"

#include "qor_core/qor_assert.h"

CChecksumFile::CChecksumFile() : CFile( 0, OPEN_WRITE )
{
    _FileName = "checksum";
}

bool CChecksumFile::RefuseRead()
{
    QOR_ASSERT_MSG( false, "Read mode is not allowed." );
    return false;
}

char CChecksumFile::GetChar()
{
    RefuseRead();
    return char( 255 );
}

bool CChecksumFile::Reopen( uint32 Type, uint32 Mode )
{
    ResetFile( Type, Mode );
    switch ( Mode )
    {
    case OPEN_READ:
        QOR_ASSERT_MSG( false, "OPEN_READ is not allowed, assuming OPEN_WRITE." );
        _Mode = OPEN_WRITE;
        Rewind();
        return false;
    case OPEN_WRITE:
        Rewind();
        return true;
    case OPEN_WRITE_APPEND:
        return true;
    default:
        QOR_ASSERT_MSG( false, "Invalid enum" );
        return false;
    }
}

bool CChecksumFile::Read( void*, int32 )
{
    return RefuseRead();
}

bool CChecksumFile::ReadBlob( CBlob& )
{
    return RefuseRead();
}

bool CChecksumFile::ReadInt32( int32* )
{
    return RefuseRead();
}

bool CChecksumFile::ReadRange( int32, int32, FReadRangeCallback, void* )
{
    return RefuseRead();
}

void CChecksumFile::Write( const void* pData, int32 Size )
{
    NFile::AddToChecksum( _SumA, _SumB, pData, Size );
}

bool CChecksumFile::Rewind()
{
    _SumA = 0;
    _SumB = 0;
    return true;
}

uint32 CChecksumFile::GetChecksum( int32 nMaxSize )
{
    QOR_ASSERT( nMaxSize != -1 && "Will not work, this is just _A_ checksum" );
    return NFile::CombineChecksum( _SumA, _SumB );
}
