#pragma once

// CChecksumFile: a write-only sink that keeps nothing of what is written but its file checksum, the same
// Fletcher-style sum GetChecksum gives for a file of those bytes. It lets a writer compute the checksum of
// data it would write without storing the data. Every read operation asserts and fails.

#include "qor_core/file.h"

class CChecksumFile : public CFile
{
public:
    CChecksumFile();

    char GetChar() override;
    // OPEN_READ isn't allowed: it asserts, starts over in OPEN_WRITE, and returns false. OPEN_WRITE starts
    // over; OPEN_WRITE_APPEND keeps the sums.
    bool Reopen( uint32 Type, uint32 Mode ) override;
    bool Read( void* pData, int32 Size ) override;
    bool ReadBlob( CBlob& Blob ) override;
    bool ReadInt32( int32* pValue ) override;
    bool ReadRange( int32 Start, int32 End, FReadRangeCallback Callback, void* pUser ) override;
    void Write( const void* pData, int32 Size ) override;
    bool IsGood() const override { return IsWriteMode(); }
    // Sets both sums to 0.
    bool Rewind() override;
    // Nothing is stored, so there is no position and no size.
    int64 GetPosition() const override { return 0; }
    int64 GetSize() const override { return 0; }
    // The sum of everything written since the last start. REQUIRES: nMaxSize is not -1; it is not used.
    uint32 GetChecksum( int32 nMaxSize ) override;

private:
    bool RefuseRead();

    uint32 _SumA = 0;
    uint32 _SumB = 0;
};
