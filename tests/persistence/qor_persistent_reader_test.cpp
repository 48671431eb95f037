#include "qor_core/persistence/qor_persistent_reader.h"

#include "tests/assert_recorder.h"
#include "tests/persistence/persistence_test_utils.h"

#include <cmath>
#include <limits>
#include <random>
#include <sstream>

using namespace NToken;

namespace
{
class CReaderTest : public CPersistenceTest
{
protected:
    // The log's texts without their line ends.
    std::vector<std::string> Logs() const
    {
        std::vector<std::string> Texts = Logged();
        for ( std::string& Text : Texts )
        {
            while ( !Text.empty() && Text.back() == '\n' )
            {
                Text.pop_back();
            }
        }
        return Texts;
    }
};

std::string Describe( const CToken& Token )
{
    return std::to_string( Token.GetType() ) + ":" + TextOf( Token );
}

// Every statement of a text, as "key operator value" with types and texts.
std::vector<std::string> Statements( CReader& Reader )
{
    std::vector<std::string> Result;
    while ( !Reader.IsAtEof() )
    {
        Reader.ReadStatement();
        Result.push_back( Describe( Reader.GetKey() ) + " " + Describe( Reader.GetOperator() ) + " " +
                          Describe( Reader.GetValue() ) );
    }
    return Result;
}

std::string Errors( const CReader& Reader )
{
    std::string Text;
    for ( const CReader::SError& Error : Reader.GetErrors() )
    {
        Text += Error._Message.GetStdString() + "|" + std::to_string( Error._Line ) + "|" + Error._Text.GetStdString() + ";";
    }
    return Text;
}

const std::string c_At = " file: dir/test.txt line: ";
} // namespace

TEST_F( CReaderTest, Statements )
{
    struct SCase
    {
        const char* pText;
        std::vector<std::string> Statements;
        std::vector<std::string> Logs;
        std::vector<std::string> Asserts = {};
    };
    const SCase Cases[] = {
        { "@x = 5\na = @x", { "15:a 1:= 12:5" }, {} },
        { "@x = 5\na = @[x*2]", { "15:a 1:= 13:10" }, {} },
        { "@x = 5\na = @[ x * 2 ]", { "15:a 1:= 13:10" }, {} },
        { "a = @[y]", { "15:a 1:= 12:0" },
          { "unknown variable [y]. " + c_At + "1", "Failed to parse advanced statement at " + c_At + "1" } },
        { "@1x = 5", { "1:= 0: 0:" },
          { "Invalid variable name [1x]. Variable names must start with a letter and only contain letters, numbers, "
            "or under scores. " + c_At + "1" } },
        { "@x = 1\n@x = 2\na = @x", { "15:a 1:= 12:1" }, { "Variable name x is already taken. " + c_At + "2" } },
        { "a = @nosuch", { "15:a 1:= 15:@nosuch" }, {} },
        { "a = }", { "15:a 1:= 4:}", "4:} 0: 0:" }, {} },
        { "a b = 1", { "15:a 0: 0:", "1:= 0: 0:" }, {} },
        { "a > 5\nb <= c\nd == e\nf != \"@g\"", { "15:a 467:> 12:5", "15:b 972:<= 15:c", "15:d 1264:== 15:e", "15:f 1372:!= 15:@g" }, {} },
        { "a = @[(1+2)*3]", { "15:a 1:= 13:9" }, {} },
        { "a = @[1/0]", { "15:a 1:= 13:42949.67295" }, {}, { "Div/0. Fix your code" } },
        { "@s = \"txt\"\na = @[s+1]", { "15:a 1:= 13:1" }, { "Variable s is not a number. " + c_At + "2" } },
        { "a = @[2 $ 3]", { "15:a 1:= 13:23" }, { "Invalid character '$' in advanced statement at " + c_At + "1" } },
        { "@v = @[2*3]\na = @[v+1]", { "15:a 1:= 13:7" }, {} },
        { "@w = @v\na = @w", { "15:a 1:= 15:@v" }, {} },
        { "a = @[]", { "15:a 1:= 15:@[]" }, {} },
        // A bare key consumes the token behind it, here the definition.
        { "{ @x = 1 }", { "3:{ 0: 0:", "1:= 0: 0:", "4:} 0: 0:" }, {} },
        { "@x = 1 }", { "0: 0: 0:", "4:} 0: 0:" }, {} },
        { "a = ", { "15:a 1:= 19:" }, {} },
    };
    for ( const SCase& Case : Cases )
    {
        ClearLog();
        CAssertRecorder Asserts;
        CReaderOver Reader( Case.pText, false );
        EXPECT_EQ( Statements( *Reader ), Case.Statements ) << Case.pText;
        EXPECT_EQ( Asserts.Texts(), Case.Asserts ) << Case.pText;
        std::vector<std::string> Texts = Logs();
        Texts.erase( Texts.begin(), Texts.begin() + long( std::min( _nLogStart, Texts.size() ) ) );
        EXPECT_EQ( Texts, Case.Logs ) << Case.pText;
    }
}

namespace
{
template <typename T>
std::string ReadAs( CReader& Reader )
{
    T Value {};
    const bool bOk = Reader.Read( Value );
    std::ostringstream Text;
    Text << ( bOk ? "ok " : "fail " );
    if constexpr ( std::is_same_v<T, CFixedPoint> )
    {
        Text << Value.GetRaw();
    }
    else if constexpr ( std::is_same_v<T, CString> )
    {
        Text << Value.GetStdString();
    }
    else if constexpr ( sizeof( T ) == 1 )
    {
        Text << int( Value );
    }
    else
    {
        Text << Value;
    }
    return Text.str();
}
} // namespace

TEST_F( CReaderTest, ReadForms )
{
    struct SCase
    {
        const char* pText;
        std::function<std::string( CReader& )> Read;
        const char* pExpected;
        const char* pErrors;
    };
    const SCase Cases[] = {
        { "v = 12x", ReadAs<int32>, "ok 12", "" },
        { "v = x", ReadAs<int32>, "fail 0", "Malformed token|1|x;" },
        { "v = 2147483648", ReadAs<int32>, "fail 0", "Malformed token|1|2147483648;" },
        { "v = 2147483648", ReadAs<uint32>, "ok 2147483648", "" },
        { "v = -1", ReadAs<uint64>, "fail 0", "Malformed token|1|-1;" },
        { "v = -9223372036854775808", ReadAs<int64>, "ok -9223372036854775808", "" },
        { "v = 65535", ReadAs<uint16>, "ok 65535", "" },
        { "v = -32768", ReadAs<int16>, "ok -32768", "" },
        { "v = 'a'", ReadAs<int8>, "ok 97", "" },
        { "v = 255", ReadAs<uint8>, "ok 255", "" },
        { "v = Yes", ReadAs<bool>, "ok 1", "" },
        { "v = maybe", ReadAs<bool>, "fail 0", "Malformed token|1|maybe;" },
        { "v = 1.25", ReadAs<float>, "ok 1.25", "" },
        { "v = 1.25", ReadAs<CFixedPoint>, "ok 125000", "" },
        { "v = -92233720368547.75808", ReadAs<CFixedPoint>, "ok -9223372036854775808", "" },
        { "v = 1.000001", ReadAs<CFixedPoint>, "fail 0", "Malformed token|1|1.000001;" },
        { "v = ff", []( CReader& R ) { uint32 V = 0; const bool bOk = R.ReadHexadecimal( V ); return std::to_string( bOk ) + " " + std::to_string( V ); }, "1 255", "" },
        { "v = \"a\nb\"", ReadAs<CString>, "ok a\nb", "" },
        { "v = \"a\nb\"", []( CReader& R ) { CString V; const bool bOk = R.Read( V, false ); return std::to_string( bOk ) + " " + V.GetStdString(); },
          "0 Unreadable String", "Malformed token|2|a\nb;" },
    };
    for ( const SCase& Case : Cases )
    {
        CReaderOver Reader( Case.pText, false );
        Reader->ReadStatement();
        EXPECT_EQ( Case.Read( *Reader ), Case.pExpected ) << Case.pText;
        EXPECT_EQ( Errors( *Reader ), Case.pErrors ) << Case.pText;
        EXPECT_EQ( Reader->IsOk(), *Case.pErrors == 0 ) << Case.pText;
    }
}

TEST_F( CReaderTest, ArraysAndStringArrays )
{
    CReaderOver Reader( "a = { 1 2 3 4 5 }\nb = 7\nc = { x \"y z\" }\nd = 8", false );
    Reader->ReadStatement();
    int32 Values[ 3 ] = { 0, 0, 0 };
    Reader->ReadArray( Values, 3 );
    EXPECT_EQ( std::vector<int32>( Values, Values + 3 ), ( std::vector<int32> { 1, 2, 3 } ) );
    EXPECT_EQ( Errors( *Reader ), "Cannot read this many items into array|1|4;Cannot read this many items into array|1|5;" );
    Reader->ReadStatement();
    EXPECT_EQ( TextOf( Reader->GetKey() ), "b" );
    Reader->ReadStatement();
    CQorArray<CString> Strings;
    Reader->ReadStringArray( Strings );
    ASSERT_EQ( Strings.GetSize(), 2 );
    EXPECT_EQ( Strings[ 0 ], "x" );
    EXPECT_EQ( Strings[ 1 ], "y z" );
    Reader->ReadStatement();
    EXPECT_EQ( TextOf( Reader->GetValue() ), "8" );

    CReaderOver NoBlock( "a = 5", false );
    NoBlock->ReadStatement();
    NoBlock->ReadArray( Values, 3 );
    EXPECT_EQ( Errors( *NoBlock ), "expected { after \"a\", got|1|5;" );
}

TEST_F( CReaderTest, ColoursAndVectors )
{
    struct SCase
    {
        const char* pText;
        bool bOk;
        std::vector<float> Expected;
    };
    const SCase Colours[] = {
        { "c = 0x80ff0000", true, { 1, 0, 0, 128 / 255.0f } },
        { "c = { 255 0 51 }", true, { 1, 0, 0.2f, 1 } },
        { "c = rgb { 0.5 0.25 0 0.5 }", true, { 0.5f, 0.25f, 0, 0.5f } },
        { "c = hsv { 0.083333 1 1 }", true, { 1, 0.5f, 0, 1 } },
        // A hue beyond a float's range is no number of turns: it reads as 0.
        { "c = hsv { 1000000000000000000000000000000000000000000000000.5 1 1 }", true, { 1, 0, 0, 1 } },
        { "c = rgba { 1 2 }", false, {} },
        { "c = { a b c }", false, {} },
        { "c = { 1 1 1 1 1 }", false, {} },
        { "c = spherical { 1 1 1 }", false, {} },
        { "c = {", false, {} },
    };
    for ( const SCase& Case : Colours )
    {
        CReaderOver Reader( Case.pText, false );
        Reader->ReadStatement();
        CVector<float, 4> Colour;
        EXPECT_EQ( Reader->ReadColor( Colour ), Case.bOk ) << Case.pText;
        EXPECT_EQ( Reader->IsOk(), Case.bOk ) << Case.pText;
        for ( size_t Index = 0; Index < Case.Expected.size(); ++Index )
        {
            EXPECT_NEAR( Colour._Values[ Index ], Case.Expected[ Index ], 1e-4 ) << Case.pText << " " << Index;
        }
    }
    const SCase Vectors[] = {
        { "v = { 1 2 3 }", true, { 1, 2, 3 } },
        { "v = vector { 1 2 3.5 }", true, { 1, 2, 3.5f } },
        { "v = cylindrical { 2 5 90 }", true, { -2, 5, 0 } },
        { "v = spherical { 2 90 0 }", true, { -2, 0, 0 } },
        { "v = spherical { 2 90 90 }", true, { 0, -2, 0 } },
        { "v = hsv { 1 2 3 }", false, {} },
        { "v = { 1 2 }", false, {} },
    };
    for ( const SCase& Case : Vectors )
    {
        CReaderOver Reader( Case.pText, false );
        Reader->ReadStatement();
        CVector<float, 3> Vector;
        EXPECT_EQ( Reader->ReadVector( Vector ), Case.bOk ) << Case.pText;
        for ( size_t Index = 0; Index < Case.Expected.size(); ++Index )
        {
            EXPECT_NEAR( Vector._Values[ Index ], Case.Expected[ Index ], 1e-4 ) << Case.pText << " " << Index;
        }
    }

    // A colour written as hue comes back as its red, green and blue.
    const uint32 Key = CreateDynamicToken( "c", true );
    const std::string Text = WriteToString( false, [ & ]( CWriter& W ) {
        W.WriteKey( Key );
        W.WriteColor( CVector<float, 4>( 0.2f, 0.6f, 0.4f, 1 ), true );
    } );
    CReaderOver Reader( Text, false );
    Reader->ReadStatement();
    CVector<float, 4> Colour;
    ASSERT_TRUE( Reader->ReadColor( Colour ) ) << Text;
    EXPECT_NEAR( Colour._Values[ 0 ], 0.2f, 1e-5 );
    EXPECT_NEAR( Colour._Values[ 1 ], 0.6f, 1e-5 );
    EXPECT_NEAR( Colour._Values[ 2 ], 0.4f, 1e-5 );
}

TEST_F( CReaderTest, Buffers )
{
    CAssertRecorder Asserts;
    // Binary: the count and the bytes behind the buffer token.
    const std::string Binary = WriteToString( true, []( CWriter& W ) {
        W.WriteBuffer( 100, "abc", 3 );
        W.WriteBuffer( 100, "", 0 );
    } );
    CReaderOver Reader( Binary, true );
    CQorArray<uint8> Data;
    // No operator stands between the key and the buffer token: the statement ends at the buffer token, and the
    // file at its count.
    Reader->ReadStatement();
    EXPECT_EQ( Reader->GetOperator().GetType(), 0u );
    EXPECT_TRUE( Reader->GetCurrent().Match( _buffer_ ) );
    ASSERT_TRUE( Reader->ReadBuffer( Data ) );
    EXPECT_EQ( std::string( Data.begin(), Data.end() ), "abc" );
    Reader->ReadStatement();
    ASSERT_TRUE( Reader->ReadBuffer( Data ) );
    EXPECT_EQ( Data.GetSize(), 0 );
    EXPECT_TRUE( Asserts.Texts().empty() );

    // Text: the raw sizes and the base-64 text at the file's position.
    const std::string Text = std::string( "\x04\0\0\0\x08\0\0\0", 8 ) + "eHl6dw==";
    CReaderOver TextReader( Text, false );
    ASSERT_TRUE( TextReader->ReadBuffer( Data ) );
    EXPECT_EQ( std::string( Data.begin(), Data.end() ), "xyzw" );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string> { "Non-binary buffer reading is very much untested, and should not "
                                                            "be used for large buffers, e.g., transferring save games" } );
    // Sizes that disagree with the text are malformed, never decoded past the data.
    for ( const std::string& Bad : { std::string( "\x04\0\0\0\x07\0\0\0eHl6dw=", 15 ), std::string( "\x09\0\0\0\x08\0\0\0eHl6dw==", 16 ),
                                     std::string( "\x04\0\0\0\x0c\0\0\0eHl6dw==", 16 ), std::string( "\x04\0\0", 3 ) } )
    {
        CReaderOver BadReader( Bad, false );
        EXPECT_FALSE( BadReader->ReadBuffer( Data ) ) << ToHex( Bad );
        EXPECT_FALSE( BadReader->IsOk() );
    }
}

TEST_F( CReaderTest, RawStringBackwardPathsAndLocation )
{
    CAssertRecorder Asserts;
    CReaderOver Reader( "a = \"x\\\"y\\\\\"\nb = c", false );
    EXPECT_EQ( std::string( Reader->GetLocation() ), c_At + "1" );
    CString Raw;
    EXPECT_FALSE( Reader->GetRawStringBackward( Raw ) );
    Reader->ReadStatement();
    EXPECT_EQ( TextOf( Reader->GetValue() ), "x\"y\\" );
    ASSERT_TRUE( Reader->GetRawStringBackward( Raw ) );
    EXPECT_EQ( Raw.GetStdString(), "x\\\"y\\\\" );
    Reader->ReadStatement();
    EXPECT_FALSE( Reader->GetRawStringBackward( Raw ) );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string> { "Expected not to start at the beginning", "Expected to start at string end" } ) );
    EXPECT_EQ( std::string( Reader->GetLocation() ), c_At + "2" );

    struct SPathCase
    {
        const char* pFile;
        const char* pPath;
        const char* pExpected;
    };
    const SPathCase Paths[] = {
        { "dir/test.txt", "tex.png", "dir/tex.png" },
        { "a/b/c.txt", "../../d.png", "d.png" },
        { "a/b/c.txt", "x/../y.png", "a/b/y.png" },
        { "c.txt", "x.png", "x.png" },
        { "c.txt", "../x.png", "../x.png" },
    };
    for ( const SPathCase& Case : Paths )
    {
        Reader.File().SetFileName( Case.pFile );
        CString Out;
        Reader->MakePathRelativeToFile( Case.pPath, Out );
        EXPECT_EQ( Out.GetStdString(), Case.pExpected ) << Case.pFile << " " << Case.pPath;
    }
}

TEST_F( CReaderTest, ErrorHandlerAndReports )
{
    class CHandler : public CReader::CErrorHandler
    {
    public:
        bool Handle( CReader& ) override { return _bAccept; }
        bool _bAccept = true;
    };
    CHandler Handler;
    {
        CReaderOver Reader( "a = x\nb = y\n\nc = z", false );
        Reader->SetErrorHandler( &Handler );
        int32 Value = 0;
        Reader->ReadStatement();
        EXPECT_TRUE( Reader->Read( Value ) );
        EXPECT_TRUE( Handler._bCalled && Handler._bHandled );
        EXPECT_TRUE( Reader->IsOk() );
        Handler = CHandler();
        Handler._bAccept = false;
        Reader->ReadStatement();
        EXPECT_FALSE( Reader->Read( Value ) );
        EXPECT_TRUE( Handler._bCalled && !Handler._bHandled );
        Reader->SetErrorHandler( nullptr );
        Reader->ReadStatement();
        Reader->Read( Value );
        EXPECT_FALSE( Reader->IsOk() );
        ClearLog();
        Reader.Destroy();
    }
    // The destructor reports what is left, once. A word that ends at a line feed gives it back, and the file
    // steps its line back until the next character: y counts as line 1.
    std::vector<std::string> Texts = Logs();
    Texts.erase( Texts.begin(), Texts.begin() + long( _nLogStart ) );
    EXPECT_EQ( Texts, std::vector<std::string> { "Error: \"Malformed token: y, near line: 1\nMalformed token: z, near line: 4\" "
                                                 "in file: \"dir/test.txt\" near line: 4" } );

    // Two thousand errors make one line the log takes whole: the first ones, and how many more there were.
    std::string Many;
    for ( int i = 0; i < 2000; ++i )
    {
        Many += "a = x" + std::string( 300, 'y' ) + "\n";
    }
    CReaderOver ManyReader( Many, false );
    int32 Value = 0;
    for ( int i = 0; i < 2000; ++i )
    {
        ManyReader->ReadStatement();
        ManyReader->Read( Value );
    }
    ClearLog();
    CAssertRecorder Asserts;
    ManyReader->ReportErrors();
    ASSERT_EQ( LoggedSinceClear().size(), 1u );
    const std::string Line = LoggedSinceClear()[ 0 ];
    EXPECT_LT( Line.size(), 8000u );
    EXPECT_NE( Line.find( "Malformed token: x" + std::string( 255, 'y' ) + "..., near line: " ), std::string::npos );
    EXPECT_NE( Line.find( "more\" in file" ), std::string::npos ) << Line.substr( Line.size() - 100 );
    EXPECT_TRUE( Asserts.Texts().empty() );

    CReaderOver Reported( "a = x", false );
    Reported->ReadStatement();
    Reported->MalformedToken( "Custom" );
    Reported->ReportErrors();
    EXPECT_TRUE( Reported->IsOk() );
    ClearLog();
    Reported.Destroy();
    EXPECT_EQ( LoggedSinceClear().size(), 0u );
}

TEST_F( CReaderTest, Skips )
{
    const char* pText = "a = { b = { c = 1 } d = 2 }\nz = 1";
    for ( int Form = 0; Form < 2; ++Form )
    {
        CReaderOver Reader( pText, false );
        Reader->ReadStatement();
        Form == 0 ? Reader->SkipBlock() : Reader->SkipValue();
        Reader->ReadStatement();
        EXPECT_EQ( TextOf( Reader->GetKey() ), "z" ) << Form;
    }
    CReaderOver Reader( pText, false );
    Reader->ReadStatement();
    Reader->ReadStatement();
    Reader->SkipToBlockEnd();
    EXPECT_TRUE( Reader->Peek( _closebrace_ ) );
    Reader->Next();
    Reader->SkipToBlockEnd();
    EXPECT_TRUE( Reader->IsAtBlockEnd() );
    Reader->SkipToEndOfBlock();
    Reader->ReadStatement();
    EXPECT_EQ( TextOf( Reader->GetKey() ), "z" );
    {
        // A variable's '}' is reported and skipped: the skip still ends in front of the block's own '}'.
        CAssertRecorder Asserts;
        CReaderOver VariableReader( "@x = }\na = { b = @x c = 1 }\nz = 1", false );
        VariableReader->ReadStatement();
        VariableReader->SkipToBlockEnd();
        EXPECT_EQ( Asserts.Texts(), std::vector<std::string> { "Recursives > 0" } );
        EXPECT_TRUE( VariableReader->Peek( _closebrace_ ) );
        VariableReader->Next();
        VariableReader->ReadStatement();
        EXPECT_EQ( TextOf( VariableReader->GetKey() ), "z" );
    }

    // Twenty levels: the shared depth reports from the sixteenth on, and is back at 0 after.
    std::string Deep = "a = ";
    for ( int i = 0; i < 20; ++i )
    {
        Deep += "{ ";
    }
    Deep += std::string( 20, '}' ) + " z = 1";
    CAssertRecorder Asserts;
    CReaderOver DeepReader( Deep, false );
    DeepReader->ReadStatement();
    DeepReader->SkipBlock();
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>( 5, "nLevel < 16 && \"Skipping tokens really deep sir.\"" ) );
    EXPECT_EQ( CReader::GetSkipBlockDepth(), 0 );
    DeepReader->ReadStatement();
    EXPECT_EQ( TextOf( DeepReader->GetKey() ), "z" );
}

namespace
{
// Reads what hostile files hold: n and z as numbers, obj as a nested object, data as a buffer; anything else
// is unexpected.
class CRecordObject : public CPersistent
{
public:
    void ReadToken( CReader& Reader, uint32 ) override
    {
        const std::string Key = TextOf( Reader.GetKey() );
        if ( Key == "n" )
        {
            Reader.Read( N );
        }
        else if ( Key == "z" )
        {
            Reader.Read( Z );
        }
        else if ( Key == "obj" )
        {
            Child = std::make_unique<CRecordObject>();
            Reader.Read( *Child );
        }
        else if ( Key == "data" )
        {
            Reader.ReadBuffer( Data );
        }
        else
        {
            CPersistent::ReadToken( Reader, 0 );
        }
    }
    void OnReadEnd( CQorStringView, int32 FirstLine, int32 LastLine ) override { Lines = { FirstLine, LastLine }; }

    int32 N = -1;
    int32 Z = -1;
    std::unique_ptr<CRecordObject> Child;
    CQorArray<uint8> Data;
    std::pair<int32, int32> Lines;
};
} // namespace

TEST_F( CReaderTest, HostileTextIsRecordedAndReadingGoesOn )
{
    std::string Deep = "deep = ";
    for ( int i = 0; i < 10000; ++i )
    {
        Deep += "{ a = ";
    }
    Deep += "1" + std::string( 10000, '}' ) + "\nz = 7";
    struct SCase
    {
        std::string Text;
        const char* pErrors;
        int32 ChildN;
    };
    const SCase Cases[] = {
        { "obj = { n = 1\n", "Missing } at the end of the file|2|;", 1 },
        { "obj = n = 1 }\nz = 7", "Expected {|1|n;Unexpected token|1|1;Unexpected token|1|};", -2 },
        { "obj = { n = }\nz = 7", "Malformed token|1|};", -1 },
        // A word that ends at a line feed leaves the line stepped back until the next character is read.
        { "n = hello\nz = 7", "Malformed token|0|hello;", -2 },
        { Deep, "Unexpected token|1|{;", -2 },
        { "n = @v\n@v = 3\nz = @v", "Malformed token|0|@v;", -2 },
        { "n = @[1/0]\nz = 7", "", -2 },
        { "}}} z = 7", "Unexpected token|1|};Unexpected token|1|};Unexpected token|1|};", -2 },
    };
    for ( const SCase& Case : Cases )
    {
        CAssertRecorder Asserts;
        CReaderOver Reader( Case.Text, false );
        CRecordObject Object;
        Reader->ReadWithoutBraces( Object );
        EXPECT_EQ( Errors( *Reader ), Case.pErrors ) << Case.Text.substr( 0, 40 );
        EXPECT_EQ( Reader->IsOk(), *Case.pErrors == 0 );
        if ( Case.ChildN != -2 )
        {
            ASSERT_TRUE( Object.Child ) << Case.Text;
            EXPECT_EQ( Object.Child->N, Case.ChildN ) << Case.Text;
        }
        if ( Case.Text.find( "z = " ) != std::string::npos )
        {
            EXPECT_EQ( Object.Z, Case.Text.find( "@v" ) != std::string::npos ? 3 : 7 ) << Case.Text.substr( 0, 40 );
        }
        EXPECT_EQ( CReader::GetSkipBlockDepth(), 0 );
        Reader->ReportErrors();
    }
}

TEST_F( CReaderTest, HostileBinaryBuffersAreRecorded )
{
    const uint32 Data = CreateDynamicToken( "data", true );
    const uint32 Z = CreateDynamicToken( "z", true );
    // A count of 1000 over three bytes, then a count cut short.
    const std::string Long = WriteToString( true, [ & ]( CWriter& W ) {
        W.WriteKey( Data );
        W.WriteToken( _buffer_ );
        CQorArray<uint32> Count;
        Count.Add( 1000u );
        W.WriteRaw( Count );
    } ) + "abc";
    const std::string Short = WriteToString( true, [ & ]( CWriter& W ) {
        W.WriteStatement( Z, int32( 7 ) );
        W.WriteKey( Data );
        W.WriteToken( _buffer_ );
    } ) + "ab";
    struct SCase
    {
        std::string Bytes;
        const char* pAssert;
    };
    for ( const SCase& Case : { SCase { Long, "Trying to read buffer beyond EOF" },
                                SCase { Short, "Not enough left of the file to even read the size of the data" } } )
    {
        CAssertRecorder Asserts;
        CReaderOver Reader( Case.Bytes, true );
        CRecordObject Object;
        Reader->ReadWithoutBraces( Object );
        ASSERT_FALSE( Asserts.Texts().empty() );
        EXPECT_EQ( Asserts.Texts()[ 0 ], Case.pAssert );
        EXPECT_FALSE( Reader->IsOk() );
        EXPECT_EQ( Object.Data.GetSize(), 0 );
        EXPECT_EQ( Object.Z, Case.Bytes == Short ? 7 : -1 );
        Reader->ReportErrors();
    }
}

// Round trips over generated trees: every value type, CFixedPoint and integer extremes, strings with quotes,
// backslashes and line feeds, nested blocks, arrays; buffers in binary. The binary encoding keeps every value
// exactly, so trees compare by their binary bytes.
namespace
{
class CTree : public CPersistent
{
public:
    explicit CTree( const uint32* pKeys ) : _pKeys( pKeys ) {}

    // Each value field with its key.
    template <typename VisitorT>
    void Fields( VisitorT&& Visit )
    {
        Visit( _pKeys[ 0 ], I ), Visit( _pKeys[ 1 ], U ), Visit( _pKeys[ 2 ], L ), Visit( _pKeys[ 3 ], UL );
        Visit( _pKeys[ 4 ], B ), Visit( _pKeys[ 5 ], F ), Visit( _pKeys[ 6 ], X ), Visit( _pKeys[ 7 ], S );
    }

    void Generate( std::mt19937& Random, int Depth, bool bBuffers )
    {
        const int64 Extremes[] = { std::numeric_limits<int64>::min(), std::numeric_limits<int64>::max(), 0, -1 };
        const auto Wide = [ & ] { return Random() % 3 ? int64( ( uint64( Random() ) << 32 ) | Random() ) : Extremes[ Random() % 4 ]; };
        I = int32( Random() ), U = uint32( Random() ), L = Wide(), UL = uint64( Wide() ), B = Random() % 2;
        F = float( int32( Random() % 2000001 ) - 1000000 ) / 1000.0f;
        X = CFixedPoint::FromRaw( Wide() );
        static const char Alphabet[] = "ab \"\\\n@{}#=;\t\xc3\xa9";
        for ( uint32 Length = Random() % 12; Length > 0; --Length )
        {
            S += Alphabet[ Random() % ( sizeof( Alphabet ) - 1 ) ];
        }
        for ( float& Value : List )
        {
            Value = float( int32( Random() % 20001 ) - 10000 ) / 100.0f;
        }
        for ( uint32 Length = bBuffers ? Random() % 40 : 0; Length > 0; --Length )
        {
            Data.Add( uint8( Random() ) );
        }
        for ( uint32 Count = Depth > 0 ? Random() % 3 : 0; Count > 0; --Count )
        {
            Children.push_back( std::make_unique<CTree>( _pKeys ) );
            Children.back()->Generate( Random, Depth - 1, bBuffers );
        }
    }

    void WriteContents( CWriter& W ) override
    {
        Fields( [ & ]( uint32 Key, auto& Value ) { W.WriteStatement( Key, Value ); } );
        W.WriteKey( _pKeys[ 8 ] );
        W.WriteInlineList( List, 3 );
        W.NewLine();
        if ( !Data.IsEmpty() )
        {
            W.WriteBuffer( _pKeys[ 9 ], Data.GetData(), uint32( Data.GetSize() ) );
        }
        for ( const std::unique_ptr<CTree>& Child : Children )
        {
            W.WriteStatement( _pKeys[ 10 ], *Child );
        }
    }

    void ReadToken( CReader& R, uint32 Token ) override
    {
        bool bKnown = Token == _pKeys[ 8 ] || Token == _pKeys[ 9 ] || Token == _pKeys[ 10 ];
        Fields( [ & ]( uint32 Key, auto& Value ) { bKnown = Key == Token ? R.Read( Value ) : bKnown; } );
        if ( Token == _pKeys[ 8 ] )
        {
            R.ReadArray( List, 3 );
        }
        else if ( Token == _pKeys[ 9 ] )
        {
            R.ReadBuffer( Data );
        }
        else if ( Token == _pKeys[ 10 ] )
        {
            Children.push_back( std::make_unique<CTree>( _pKeys ) );
            R.Read( *Children.back() );
        }
        else if ( !bKnown )
        {
            CPersistent::ReadToken( R, Token );
        }
    }

private:
    const uint32* _pKeys;
    int32 I = 0;
    uint32 U = 0;
    int64 L = 0;
    uint64 UL = 0;
    bool B = false;
    float F = 0;
    CFixedPoint X;
    CString S;
    float List[ 3 ] = {};
    CQorArray<uint8> Data;
    std::vector<std::unique_ptr<CTree>> Children;
};

std::string WriteTree( CTree& Tree, bool bBinary )
{
    return WriteToString( bBinary, [ & ]( CWriter& W ) { W.WriteWithoutBraces( Tree ); } );
}

// The tree read from the bytes, written in binary.
std::string ReadTree( const std::string& Bytes, bool bBinary, const uint32* pKeys, std::string* pText = nullptr )
{
    CTree Tree( pKeys );
    CReaderOver Reader( Bytes, bBinary );
    Reader->ReadWithoutBraces( Tree );
    EXPECT_TRUE( Reader->IsOk() ) << Errors( *Reader );
    if ( pText )
    {
        *pText = WriteTree( Tree, false );
    }
    return ToHex( WriteTree( Tree, true ) );
}
} // namespace

TEST_F( CReaderTest, RoundTripsOverGeneratedTrees )
{
    uint32 Keys[ 11 ];
    const char* const Names[ 11 ] = { "int", "uint", "long", "ulong", "flag", "real", "fixed", "text", "list", "data", "child" };
    for ( int Index = 0; Index < 11; ++Index )
    {
        Keys[ Index ] = CreateDynamicToken( Names[ Index ], true );
    }
    const uint32 Seed = std::random_device()();
    std::mt19937 Random( Seed );
    for ( int Round = 0; Round < 60; ++Round )
    {
        // Text files can't hold buffers: every other tree has some, and goes through binary only.
        const bool bBuffers = Round % 2 == 1;
        CTree Tree( Keys );
        Tree.Generate( Random, 3, bBuffers );
        const std::string Binary = ToHex( WriteTree( Tree, true ) );
        ASSERT_EQ( ReadTree( WriteTree( Tree, true ), true, Keys ), Binary ) << "seed " << Seed << " round " << Round;
        if ( !bBuffers )
        {
            const std::string Text = WriteTree( Tree, false );
            std::string TextAgain;
            ASSERT_EQ( ReadTree( Text, false, Keys, &TextAgain ), Binary ) << "seed " << Seed << " round " << Round << "\n" << Text;
            ASSERT_EQ( TextAgain, Text ) << "seed " << Seed;
        }
    }
}

// A float off the grid, written in binary and read back, writes the same bytes again; the reader gets the
// fixed point 1.5 back from both encodings.
TEST_F( CReaderTest, FloatsAndFixedPointsAreStable )
{
    const uint32 Key = CreateDynamicToken( "v", true );
    for ( bool bBinary : { true, false } )
    {
        for ( float Value : { 1.123456f, -0.000015f, 98765.4321f } )
        {
            const std::string Once = WriteToString( bBinary, [ & ]( CWriter& W ) { W.WriteStatement( Key, Value ); } );
            CReaderOver Reader( Once, bBinary );
            Reader->ReadStatement();
            float Read = 0;
            ASSERT_TRUE( Reader->Read( Read ) );
            EXPECT_EQ( WriteToString( bBinary, [ & ]( CWriter& W ) { W.WriteStatement( Key, Read ); } ), Once ) << Value;
        }
        const std::string Fixed =
            WriteToString( bBinary, [ & ]( CWriter& W ) { W.WriteStatement( Key, CFixedPoint::FromRaw( 150000 ) ); } );
        CReaderOver Reader( Fixed, bBinary );
        Reader->ReadStatement();
        CFixedPoint Value;
        ASSERT_TRUE( Reader->Read( Value ) );
        EXPECT_EQ( Value.GetRaw(), 150000 );
    }
    // An unsigned 32-bit value comes back as a number token, read by Read( uint32& ).
    const std::string Unsigned = WriteToString( true, [ & ]( CWriter& W ) { W.WriteStatement( Key, uint32( 4000000000u ) ); } );
    CReaderOver Reader( Unsigned, true );
    Reader->ReadStatement();
    EXPECT_EQ( Reader->GetValue().GetType(), uint32( _num_ ) );
    uint32 Value = 0;
    ASSERT_TRUE( Reader->Read( Value ) );
    EXPECT_EQ( Value, 4000000000u );
}
