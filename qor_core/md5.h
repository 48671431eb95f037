#pragma once

// The MD5 digest of RFC 1321, fed in pieces: update as often as needed, finalize once, then read the
// digest raw or as lower-case hexadecimal text. The checksum code of the file system hashes files with it.
// Misuse in the order of calls is told on the standard error stream, and the call does nothing.

#include "qor_core/qor_types.h"

#include <memory>

class MD5
{
public:
    static constexpr int RAW_SIZE = 16;
    // Thirty-two hexadecimal characters and the terminating zero.
    static constexpr int HEX_TEXT_SIZE = 33;

    MD5();

    // Feeds Length bytes. REQUIRES: not finalized.
    void update( const void* pInput, uint32 Length );
    // Feeds a zero-terminated text, without its zero.
    void update( const char* pString );
    // Pads, appends the bit count and stores the digest. REQUIRES: not finalized.
    void finalize();
    bool isFinalized() const { return finalized != 0; }

    // Copies the 16 bytes of the digest. REQUIRES: finalized.
    void raw_digest( uint8* pOut ) const;
    // The 16 bytes of the digest in a new array; before finalize, an array of zeros (an empty text).
    std::unique_ptr<uint8[]> raw_digest() const;
    // Writes HEX_TEXT_SIZE characters to pOut, or to a buffer shared by all digests when pOut is null, and
    // returns it; before finalize the text is empty.
    const char* hex_digest( char* pOut = nullptr ) const;

private:
    void transform( const uint8* pBlock );

    uint32 state[ 4 ];
    // The message length in bits, low word first.
    uint32 count[ 2 ];
    // Input not yet transformed.
    uint8 buffer[ 64 ];
    uint8 digest[ RAW_SIZE ];
    uint8 finalized;
};
