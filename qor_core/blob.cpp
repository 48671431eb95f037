#include "qor_core/blob.h"

#include "qor_core/cyodecode.h"
#include "qor_core/cyoencode.h"

#include <cstring>

namespace
{
// Sizes count in int32.
constexpr int32 c_MaxBlobSize = 0x7fffffff;
} // namespace

void CBlob::Clear( bool bFreeMemory )
{
    _nSize = 0;
    if ( bFreeMemory )
    {
        ShrinkToFit();
    }
}

void CBlob::Append( const void* pData, int32 Size )
{
    QOR_ASSERT( Size >= 0 && Size <= c_MaxBlobSize - _nSize );
    if ( Size <= 0 || Size > c_MaxBlobSize - _nSize )
    {
        return;
    }
    const int32 nNewSize = _nSize + Size;
    const uint8* pSource = static_cast<const uint8*>( pData );
    if ( nNewSize > _nCapacity )
    {
        // A source inside the old buffer is found again in the new one, at the same offset.
        const bool bInside = pSource >= _pData && pSource < _pData + _nSize;
        const int64 nOffset = bInside ? pSource - _pData : 0;
        const int32 nNewCapacity = int32( std::min<int64>( std::max<int64>( nNewSize, 2 * int64( _nSize ) ), c_MaxBlobSize ) );
        ReplaceBuffer( AllocateBuffer( nNewCapacity ), nNewCapacity );
        if ( bInside )
        {
            pSource = _pData + nOffset;
        }
    }
    std::memcpy( _pData + _nSize, pSource, size_t( Size ) );
    _nSize = nNewSize;
}

uint64 CBlob::GetBase64Size() const
{
    return Base64EncodeGetLength( uint32( _nSize ) );
}

uint64 CBlob::EncodeBase64( char* pDest ) const
{
    // An empty blob may have no buffer yet; its text is empty all the same.
    static const uint8 s_NoBytes = 0;
    return Base64Encode( pDest, _pData ? _pData : &s_NoBytes, uint32( _nSize ) );
}

void CBlob::DecodeBase64( const char* pText, uint32 Size )
{
    const uint32 nMaxSize = Base64DecodeGetLength( Size );
    _nSize = 0;
    QOR_ASSERT( nMaxSize <= uint32( c_MaxBlobSize ) );
    if ( nMaxSize > uint32( c_MaxBlobSize ) )
    {
        return;
    }
    Reserve( int32( nMaxSize ) );
    static uint8 s_NoBytes = 0;
    _nSize = int32( Base64Decode( _pData ? _pData : &s_NoBytes, pText, Size ) );
}
