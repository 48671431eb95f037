#pragma once

// Base-16, base-32 and base-64 encoding with the alphabets of RFC 4648, on buffers the caller provides.
// The text is never terminated with a zero: BaseNEncodeGetLength is the exact size to provide.
// Misused arguments throw std::runtime_error: next to the file layer, this is the only throwing code of
// the core, because its callers (blobs and the persistent formats) hand it sizes that come from outside.

#include "qor_core/qor_types.h"

// Bytes per block and characters per block of each scheme.
inline constexpr uint32 BASE16_INPUT = 1;
inline constexpr uint32 BASE16_OUTPUT = 2;
inline constexpr uint32 BASE32_INPUT = 5;
inline constexpr uint32 BASE32_OUTPUT = 8;
inline constexpr uint32 BASE64_INPUT = 3;
inline constexpr uint32 BASE64_OUTPUT = 4;

// The last character of the base-32 and base-64 alphabets is the pad, at index 32 and 64.
inline constexpr char BASE16_ALPHABET[] = "0123456789ABCDEF";
inline constexpr char BASE32_ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567=";
inline constexpr char BASE64_ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=";

// The number of characters Size bytes encode to, pads included.
uint64 Base16EncodeGetLength( uint32 Size );
uint64 Base32EncodeGetLength( uint32 Size );
uint64 Base64EncodeGetLength( uint32 Size );

// Writes BaseNEncodeGetLength( Size ) characters to pDest and returns their number.
// Throws "Invalid parameter" when either pointer is null.
uint64 Base16Encode( char* pDest, const void* pSrc, uint32 Size );
uint64 Base32Encode( char* pDest, const void* pSrc, uint32 Size );
uint64 Base64Encode( char* pDest, const void* pSrc, uint32 Size );
