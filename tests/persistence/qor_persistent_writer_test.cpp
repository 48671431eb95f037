#include "qor_core/persistence/qor_persistent_writer.h"

#include "tests/assert_recorder.h"
#include "tests/persistence/persistence_test_utils.h"

#include <limits>

using namespace NToken;

namespace
{
using CWriterTest = CPersistenceTest;

struct SWriteCase
{
    const char* pName;
    std::function<void( CWriter& )> Write;
    std::string Expected; // hexadecimal for binary, the text for text
    std::vector<std::string> Asserts = {};
};

// An object of two statements and a nested object, for the brace handling.
class CTwoLevels : public CPersistent
{
public:
    explicit CTwoLevels( uint32 Key ) : _Key( Key ) {}
    void WriteContents( CWriter& Writer ) override
    {
        Writer.WriteStatement( _Key, int32( 1 ) );
        Writer.WriteKey( _Key );
        CPersistent Empty;
        Writer.Write( Empty );
    }

private:
    uint32 _Key;
};
} // namespace

TEST_F( CWriterTest, BinaryBytes )
{
    const uint32 Key = CreateDynamicToken( "key", true );
    const SWriteCase Cases[] = {
        { "int32", []( CWriter& W ) { W.Write( int32( -2 ) ); }, "0c00feffffff" },
        { "uint32", []( CWriter& W ) { W.Write( uint32( 5 ) ); }, "140005000000" },
        { "int64", []( CWriter& W ) { W.Write( int64( -1 ) ); }, "6701ffffffffffffffff" },
        { "uint64", []( CWriter& W ) { W.Write( uint64( 2 ) ); }, "9c020200000000000000" },
        { "bool", []( CWriter& W ) { W.Write( true ), W.Write( false ); }, "0e00010e0000" },
        // The nearest float of 1.12346, not of 1.123456.
        { "float on the grid", []( CWriter& W ) { W.Write( 1.123456f ); }, "0d008acd8f3f" },
        { "fixed point 1.5", []( CWriter& W ) { W.Write( CFixedPoint::FromRaw( 150000 ) ); }, "6701f049020000000000" },
        { "string", []( CWriter& W ) { W.WriteString( "a\"b", true ); }, "0f000300612262" },
        { "layout tokens vanish", []( CWriter& W ) { W.WriteToken( _newline_ ), W.WriteToken( _tab_ ), W.WriteToken( _space_ ), W.WriteTabs(); }, "" },
        { "static token", []( CWriter& W ) { W.WriteToken( _buffer_ ); }, "fc01" },
        { "dynamic token", [ Key ]( CWriter& W ) { W.WriteToken( Key ); }, "170003006b6579" },
        { "token 0", []( CWriter& W ) { W.WriteToken( 0 ); }, "0000", { "TokenType > 0 && TokenType <= UINT16_MAX" } },
        { "token 65537", []( CWriter& W ) { W.WriteToken( 65537 ); }, "0100", { "TokenType > 0 && TokenType <= UINT16_MAX" } },
        { "statement", []( CWriter& W ) { W.Indent(), W.Indent(), W.WriteStatement( 100u, int32( 1 ) ); }, "640001000c0001000000" },
        { "buffer", []( CWriter& W ) { W.WriteBuffer( 100, "xyz", 3 ); }, "6400fc010300000078797a" },
        { "inline list", []( CWriter& W ) { const float V[ 2 ] = { 1, 2 }; W.WriteInlineList( V, 2 ); }, "03000d000000803f0d00000000400400" },
        { "without braces", [ Key ]( CWriter& W ) { CTwoLevels Object( Key ); W.WriteWithoutBraces( Object ); },
          "170003006b657901000c000100000017000300" "6b657901000300" "0400" },
    };
    for ( const SWriteCase& Case : Cases )
    {
        CAssertRecorder Asserts;
        EXPECT_EQ( ToHex( WriteToString( true, Case.Write ) ), Case.Expected ) << Case.pName;
        EXPECT_EQ( Asserts.Texts(), Case.Asserts ) << Case.pName;
    }
}

TEST_F( CWriterTest, Text )
{
    const uint32 A = CreateDynamicToken( "A", true );
    const SWriteCase Cases[] = {
        { "statement at indent 2", [ A ]( CWriter& W ) { W.Indent(), W.Indent(), W.WriteStatement( A, int32( 1 ) ); }, "\t\ta=1\n" },
        { "numbers", []( CWriter& W ) { W.Write( uint32( 4294967295u ) ), W.Write( std::numeric_limits<int64>::min() ), W.Write( uint64( 7 ) ); },
          "4294967295-92233720368547758087" },
        { "float", []( CWriter& W ) { W.Write( 1.5f ), W.Write( -0.25f ); }, "1.500000-0.250000" },
        { "fixed point", []( CWriter& W ) { W.Write( CFixedPoint::FromRaw( 150000 ) ), W.WriteToken( _space_ ), W.Write( CFixedPoint::FromRaw( -1 ) ); },
          "1.5 -0.00001" },
        { "bool", []( CWriter& W ) { W.Write( true ), W.Write( false ); }, "yesno" },
        // Backslashes are doubled before the quotes are escaped.
        { "quoted", []( CWriter& W ) { W.WriteString( "a\"b\\c\\\"", true ); }, "\"a\\\"b\\\\c\\\\\\\"\"" },
        { "raw", []( CWriter& W ) { W.WriteString( "a\"b", false ); }, "a\"b" },
        { "string key", []( CWriter& W ) { W.Indent(), W.WriteKey( "k y" ); }, "\t\"k y\"=" },
        { "number key", []( CWriter& W ) { W.WriteKey( int32( -3 ) ); }, "-3=" },
        { "string statement", [ A ]( CWriter& W ) { W.WriteStatement( A, CString( "x" ) ); }, "a=\"x\"\n" },
        { "token statement", [ A ]( CWriter& W ) { W.WriteTokenStatement( A, 1038 ); }, "a=yes\n" },
        { "70 tabs", []( CWriter& W ) { for ( int i = 0; i < 70; ++i ) W.Indent(); W.WriteTabs(); }, std::string( 70, '\t' ) },
        { "vector", []( CWriter& W ) { W.Indent(); W.WriteVector( CVector<float, 4>( 1, 2, 3, 4 ) ); },
          "{\n\t\t1.000000 2.000000 3.000000 4.000000\n\t}\n" },
        { "inline braces", []( CWriter& W ) { W.OpenBraceInline(), W.Write( 1 ), W.CloseBraceInline(); }, "{ 1}\n" },
        { "colour", []( CWriter& W ) { W.WriteColor( CVector<float, 4>( 0.5f, 0.25f, 0, 1 ), false ); },
          "{ 0.500000 0.250000 0.000000}" },
        // Orange: hue 30 degrees, a twelfth of a turn; grey has no hue.
        { "colour as hue", []( CWriter& W ) { W.WriteColor( CVector<float, 4>( 1, 0.5f, 0, 1 ), true ); },
          "hsv { 0.083333 1.000000 1.000000}" },
        { "grey as hue", []( CWriter& W ) { W.WriteColor( CVector<float, 4>( 0.5f, 0.5f, 0.5f, 1 ), true ); },
          "hsv { 0.000000 0.000000 0.500000}" },
        { "enum as text", [ A ]( CWriter& W ) { W.WriteEnum( 3, A ); }, "a" },
        { "enum as number", [ A ]( CWriter& W ) { W.SetEnumsAsText( false ), W.WriteEnum( 3, A ); }, "3" },
        { "without braces", [ A ]( CWriter& W ) { CTwoLevels Object( A ); W.WriteWithoutBraces( Object ); },
          "a=1\na={\n}\n" },
        { "with braces", [ A ]( CWriter& W ) { CTwoLevels Object( A ); W.Write( Object ); },
          "{\n\ta=1\n\ta={\n\t}\n}\n" },
        // The raw sizes of a buffer and its base-64 text.
        { "buffer", []( CWriter& W ) { W.WriteBuffer( 100, "xyzw", 4 ); },
          std::string( "Name=buffer\x04\0\0\0\x08\0\0\0", 19 ) + "eHl6dw==\n",
          { "Non-binary buffer writing is very much untested, and should not be used for large buffers e.g., "
            "transferring save games" } },
    };
    for ( const SWriteCase& Case : Cases )
    {
        CAssertRecorder Asserts;
        EXPECT_EQ( WriteToString( false, Case.Write ), Case.Expected ) << Case.pName;
        EXPECT_EQ( Asserts.Texts(), Case.Asserts ) << Case.pName;
    }
}

TEST_F( CWriterTest, GridRounding )
{
    EXPECT_EQ( CWriter::RoundToGrid( 1.123456f ), float( 1.12346 ) );
    // The floats nearest 0.000015 and 0.000025 lie just below them. Below zero the sum is floored, not
    // truncated toward zero: -1.4999999 + 0.5 goes to -1.
    EXPECT_EQ( CWriter::RoundToGrid( -1.5e-5f ), float( -1e-5 ) );
    EXPECT_EQ( CWriter::RoundToGrid( -2.5e-5f ), float( -2e-5 ) );
    EXPECT_EQ( CWriter::RoundToGrid( 1.5e-5f ), float( 1e-5 ) );
    EXPECT_EQ( CWriter::RoundToGrid( 2.5e-5f ), float( 2e-5 ) );
    EXPECT_EQ( CWriter::RoundToGrid( 1e30f ), 1e30f );
    EXPECT_TRUE( std::isnan( CWriter::RoundToGrid( std::numeric_limits<float>::quiet_NaN() ) ) );
    // A float on the grid stays there: written again it gives the same bytes.
    for ( float Value : { 1.123456f, -7.777777f, 123456.789f, 0.000004f } )
    {
        const float Once = CWriter::RoundToGrid( Value );
        EXPECT_EQ( CWriter::RoundToGrid( Once ), Once ) << Value;
    }
}

TEST_F( CWriterTest, LongBinaryStringKeepsTheLowSixteenBitsOfItsLength )
{
    const std::string Long( 70000, 'x' );
    const std::string Bytes = WriteToString( true, [ & ]( CWriter& W ) { W.WriteString( Long.c_str(), true ); } );
    EXPECT_EQ( ToHex( Bytes.substr( 0, 4 ) ), "0f007011" );
    EXPECT_EQ( Bytes.size(), 4u + ( 70000u & 0xFFFF ) );
}
