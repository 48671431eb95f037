#include "qor_core/qor_string_util.h"

#include "tests/assert_recorder.h"
#include "tests/log_test_utils.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <limits>
#include <string>
#include <vector>

namespace
{
std::vector<std::string> ToStrings( const CQorArray<CString>& Array )
{
    std::vector<std::string> Strings;
    for ( const CString& Element : Array )
    {
        Strings.push_back( Element.GetStdString() );
    }
    return Strings;
}

std::string ToLatin1( const std::string& Utf8 )
{
    std::string Out( Utf8.size() + 1, 'X' );
    Utf8ToLatin1( Utf8.c_str(), Out.data() );
    return std::string( Out.c_str() );
}
} // namespace

TEST( QorStringUtil, MagnitudeTextsAtEachBoundary )
{
    constexpr int64 Max = std::numeric_limits<int64>::max();
    constexpr int64 Min = std::numeric_limits<int64>::min();
    struct SCase
    {
        int64 Value;
        uint32 MinDigits;
        uint32 MinFractionalDigits;
        bool bCount;
        const char* pExpected;
    };
    const SCase Cases[] = {
        { 0, 1, 0, false, "0 B" },
        { 1, 1, 0, false, "1 B" },
        { 1023, 1, 0, false, "1023 B" },
        { 1024, 1, 0, false, "1 KB" },
        { 1048575, 1, 0, false, "1023 KB" },
        { 1048576, 1, 0, false, "1 MB" },
        { -1023, 1, 0, false, "-1023 B" },
        { -1024, 1, 0, false, "-1 KB" },
        { int64( 1 ) << 62, 1, 0, false, "4 EB" },
        { Max, 1, 0, false, "7 EB" },
        { Min, 1, 0, false, "-8 EB" },
        { 1536, 1, 1, false, "1.5 KB" },
        { 2047, 1, 1, false, "1.9 KB" },
        { -1536, 1, 1, false, "-1.5 KB" },
        { 1023, 1, 1, false, "1023.0 B" },
        { 0, 1, 1, false, "0.0 B" },
        { 0, 3, 0, false, "0.00 B" },
        { 0, 2, 3, false, "0.000 B" },
        { 1536, 3, 0, false, "1.50 KB" },
        { 10240, 3, 0, false, "10.0 KB" },
        { 1023, 3, 0, false, "1023 B" },
        { 999, 1, 0, true, "999" },
        { 1000, 1, 0, true, "1 K" },
        { 999999, 1, 0, true, "999 K" },
        { 1000000, 1, 0, true, "1 M" },
        { 1500000, 1, 1, true, "1.5 M" },
        { -999, 1, 0, true, "-999" },
        { 0, 1, 0, true, "0" },
        { int64( 1 ) << 62, 1, 3, true, "4.611 E" },
        { Max, 19, 0, true, "9.000000000000000000 E" },
    };
    for ( const SCase& Case : Cases )
    {
        const CString Text = Case.bCount ? FormatCount( Case.Value, Case.MinDigits, Case.MinFractionalDigits )
                                         : FormatByteSize( Case.Value, Case.MinDigits, Case.MinFractionalDigits );
        EXPECT_EQ( Text.GetStdString(), Case.pExpected )
            << Case.Value << " " << Case.MinDigits << " " << Case.MinFractionalDigits;
    }
    EXPECT_EQ( FormatByteSize( 1536 ).GetStdString(), "1 KB" );
}

TEST( QorStringUtil, SuffixTablesHoldTheirRows )
{
    using namespace NQorStringUtil;
    const std::vector<std::vector<std::string>> Expected = {
        { " B", " KB", " MB", " GB", " TB", " PB", " EB" },
        { "", " K", " M", " G", " T", " P", " E" },
        { "", "KB", "MB", "GB", "TB", "PB", "EB" },
        { "", "K", "M", "G", "T", "P", "E" },
    };
    const CString* Tables[] = { g_ByteSizeSuffixes, g_CountSuffixes, g_ByteSizeSuffixesNoBlank,
                                g_CountSuffixesNoBlank };
    for ( int T = 0; T < 4; ++T )
    {
        for ( int Row = 0; Row < c_SuffixTableSize; ++Row )
        {
            EXPECT_EQ( Tables[T][Row].GetStdString(), Expected[T][Row] ) << T << " " << Row;
        }
    }
    // The table without a blank reaches its last row as the others do.
    EXPECT_EQ( FormatMagnitude( int64( 5 ) << 60, 1, 0, 1024, g_ByteSizeSuffixesNoBlank ).GetStdString(), "5EB" );
}

TEST( QorStringUtil, MagnitudeMisuseIsReportedAndEmpty )
{
    constexpr int64 Min = std::numeric_limits<int64>::min();
    const CString Two[2] = { "", "0123456789012345678901234567890123456789012345678901234567890123456789" };
    struct SCase
    {
        int64 Value;
        uint32 MinDigits;
        uint32 MinFractionalDigits;
        int64 MagnitudeSize;
        int32 nRows;
        std::vector<std::string> Asserts;
        const char* pExpected;
    };
    const SCase Cases[] = {
        { 5, 1, 0, 1, 2, { "MagnitudeSize >= 2" }, "" },
        { 5, 1, 0, 10, 1, { "Suffixes.GetSize() >= 2" }, "5" },
        { 5, 20, 0, 10, 2, { "MinDigits <= 19" }, "5.000000000000000000" },
        { 5, 1, 19, 10, 2, { "MinFractionalDigits <= 18" }, "5.000000000000000000" },
        { 50, 1, 0, 10, 2, { "Formatted value was too large for hard-coded buffer." }, "" },
        { Min, 1, 0, 10, 1, { "Suffixes.GetSize() >= 2", "ScaledValue != std::numeric_limits<int64>::min()" }, "" },
    };
    for ( const SCase& Case : Cases )
    {
        CAssertRecorder Asserts;
        const CString Text = FormatMagnitude( Case.Value, Case.MinDigits, Case.MinFractionalDigits, Case.MagnitudeSize,
                                              CQorSuffixTableView( Two, Case.nRows ) );
        EXPECT_EQ( Asserts.Texts(), Case.Asserts ) << Case.Value;
        EXPECT_EQ( Text.GetStdString(), Case.pExpected ) << Case.Value;
    }
}

TEST( QorStringUtil, EveryCodePageCharacterConvertsBack )
{
    // The C library's own table is the reference; it leaves the five undefined positions out, which map to
    // the control characters of the same value.
    iconv_t Converter = iconv_open( "UTF-8", "WINDOWS-1252" );
    ASSERT_NE( Converter, reinterpret_cast<iconv_t>( -1 ) );
    int nUndefined = 0;
    for ( int Code = 0x80; Code <= 0xFF; ++Code )
    {
        char In = static_cast<char>( Code );
        char Out[8] = {};
        char* pIn = &In;
        char* pOut = Out;
        size_t nIn = 1;
        size_t nOut = sizeof( Out ) - 1;
        std::string Utf8;
        if ( iconv( Converter, &pIn, &nIn, &pOut, &nOut ) == static_cast<size_t>( -1 ) )
        {
            ++nUndefined;
            Utf8 = { static_cast<char>( 0xC2 ), static_cast<char>( Code ) };
        }
        else
        {
            Utf8 = Out;
        }
        EXPECT_EQ( ToLatin1( "a" + Utf8 + "b" ), std::string( "a" ) + static_cast<char>( Code ) + "b" )
            << std::hex << Code;
    }
    iconv_close( Converter );
    EXPECT_EQ( nUndefined, 5 );
}

TEST( QorStringUtil, CharactersOutsideThePageBecomeQuestionMarks )
{
    CLogGuard Guard;
    CRecordingLogger* pLogger = new CRecordingLogger;
    SetLogger( CQorScopedPtr<CLogger>( pLogger ) );
    struct SCase
    {
        const char* pUtf8;
        const char* pLatin1;
        int nLogged;
        std::vector<std::string> Asserts;
    };
    const SCase Cases[] = {
        { "plain ASCII ~", "plain ASCII ~", 0, {} },
        { "caf\xC3\xA9!", "caf\xE9!", 0, {} },
        { "\xE2\x82\xAC=", "\x80=", 0, {} },
        { "\xC4\x80x", "?x", 1, {} },     // U+0100, two bytes, not in the page
        { "\xE2\x82\xADx", "?x", 1, {} }, // U+20AD, three bytes, not in the page
        { "\xF0\x9F\x98\x80x", "?x", 0, { "Couldn't find Latin1 character" } },
        { "a\xC3", "a?", 1, {} }, // cut by the terminator
        { "a\xE2\x82", "a?", 1, {} },
        { "a\xFF\x80", "a?", 0, { "Couldn't find Latin1 character" } },
    };
    for ( const SCase& Case : Cases )
    {
        CAssertRecorder Asserts;
        const size_t nBefore = pLogger->Texts().size();
        EXPECT_EQ( ToLatin1( Case.pUtf8 ), Case.pLatin1 ) << Case.pUtf8;
        EXPECT_EQ( Asserts.Texts(), Case.Asserts ) << Case.pUtf8;
        const std::vector<std::string> Logged = pLogger->Texts();
        ASSERT_EQ( Logged.size() - nBefore, size_t( Case.nLogged ) ) << Case.pUtf8;
        if ( Case.nLogged )
        {
            EXPECT_EQ( Logged.back(), "Couldn't find Latin1 character\n" );
        }
    }
}

TEST( QorStringUtil, SplitResults )
{
    struct SCase
    {
        const char* pText;
        const char* pSeparator;
        int32 MaxElements;
        std::vector<std::string> Expected;
    };
    const SCase Cases[] = {
        { "a,,b", ",", 100, { "a", "", "b" } },
        { "a,,b", ",", 2, { "a", ",b" } },
        { "a,,b", ",", 1, { "a,,b" } },
        { "a,b,c", ",", 3, { "a", "b", "c" } },
        { ",a,", ",", 100, { "", "a", "" } },
        { "", ",", 100, { "" } },
        { "abc", ",", 100, { "abc" } },
        { "a::b:c", "::", 100, { "a", "b:c" } },
        { "a::::b", "::", 100, { "a", "", "b" } },
        { "abc", "", 100, { "abc" } },
    };
    for ( const SCase& Case : Cases )
    {
        EXPECT_EQ( ToStrings( Split( Case.pText, Case.pSeparator, Case.MaxElements ) ), Case.Expected ) << Case.pText;
    }
    CAssertRecorder Asserts;
    EXPECT_EQ( ToStrings( Split( "a,b", ",", 0 ) ), std::vector<std::string>{ "a,b" } );
    EXPECT_EQ( Asserts.Texts(),
               std::vector<std::string>{ "Max element count for splitting a string should be positive, but was 0." } );
}

TEST( QorStringUtil, WriteTerminatedCutsAndTerminates )
{
    struct SCase
    {
        CQorStringView Text;
        int32 BufferSize;
        int32 nWritten;
        const char* pExpected;
        std::vector<std::string> Asserts;
    };
    const SCase Cases[] = {
        { "hello", 16, 5, "hello", {} },
        { "hello", 6, 5, "hello", {} },
        { "hello", 5, 4, "hell", {} },
        { "hello", 1, 0, "", {} },
        { "", 4, 0, "", {} },
        { "hello", 0, -1, "########", { "DestinationBufferSize > 0", "AmountToWrite >= 0" } },
        { CQorStringView( "ab\0cd", 5, ENullTerminated::Yes ),
          8,
          5,
          "ab",
          { "std::strlen( pDestination ) == static_cast<std::size_t>( AmountToWrite )" } },
    };
    for ( const SCase& Case : Cases )
    {
        CAssertRecorder Asserts;
        char Buffer[9] = "########";
        EXPECT_EQ( WriteTerminated( Case.Text, Case.BufferSize, Buffer ), Case.nWritten ) << Case.BufferSize;
        EXPECT_STREQ( Buffer, Case.pExpected );
        EXPECT_EQ( Asserts.Texts(), Case.Asserts ) << Case.BufferSize;
    }
}
