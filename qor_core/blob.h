#pragma once

// CBlob: a growable block of bytes, the unit in which files hand out and take whole contents. It is a
// CQorArray<uint8> (same fields, same allocator rules) with two differences: Append grows to the larger of
// the new size and twice the old size, so a blob filled by many small writes copies each byte a bounded
// number of times; and Clear can let go of the memory. Its bytes travel through text as base 64.

#include "qor_core/container/qor_array.h"

class CBlob : public CQorArray<uint8>
{
public:
    CBlob() = default;
    explicit CBlob( CQorAllocator* pAlloc ) : CQorArray<uint8>( pAlloc ) {}
    // A copy of Size bytes. REQUIRES: Size >= 0.
    CBlob( const void* pData, int32 Size ) { Append( pData, Size ); }

    // Empties the blob; with bFreeMemory the buffer goes back to the allocator.
    void Clear( bool bFreeMemory = false );
    // Copies Size bytes behind the present ones; pData may point into the blob. REQUIRES: Size >= 0.
    void Append( const void* pData, int32 Size );

    // The number of characters EncodeBase64 writes.
    uint64 GetBase64Size() const;
    // Writes the bytes as base-64 text to pDest, GetBase64Size() characters without a terminating zero.
    uint64 EncodeBase64( char* pDest ) const;
    // Replaces the contents by the bytes of a base-64 text. Throws as Base64Decode does on a null text or a
    // size that isn't a whole number of blocks.
    void DecodeBase64( const char* pText, uint32 Size );
};
