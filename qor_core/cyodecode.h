#pragma once

// Base-16, base-32 and base-64 decoding with the alphabets of RFC 4648, on buffers the caller provides.
// Base 16 accepts both cases. A character outside the alphabet is an assertion, after which decoding goes
// on with what the table gave; misused arguments throw std::runtime_error.

#include "qor_core/cyoencode.h"

// An upper bound of the bytes Size characters decode to: pads aren't looked at.
// Throws "Invalid source, size is not a multiple of N" unless Size is a whole number of blocks.
uint32 Base16DecodeGetLength( uint32 Size );
uint32 Base32DecodeGetLength( uint32 Size );
uint32 Base64DecodeGetLength( uint32 Size );

// Writes the decoded bytes to pDest and returns their number; pads shorten the last block.
// Throws "Invalid parameter" when either pointer is null, and as above on a size that doesn't fit the blocks.
uint32 Base16Decode( void* pDest, const char* pSrc, uint32 Size );
uint32 Base32Decode( void* pDest, const char* pSrc, uint32 Size );
uint32 Base64Decode( void* pDest, const char* pSrc, uint32 Size );
