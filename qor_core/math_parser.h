#pragma once

// NMathParser: the arithmetic of the persistence format's advanced statements. An expression of numbers, the
// four operators and parentheses is tokenised in one pass and evaluated by the shunting-yard method in a numeric
// type T; the reader uses CFixedPoint, so that the results are the same on every machine. Tokens and both stacks
// are hybrid arrays with room for 128 tokens, so that an ordinary expression never allocates; a longer one
// grows onto the heap, and nothing recurses, whatever the nesting.
//
// Failures: a mismatched parenthesis reports and is dropped; an operator short of operands, an expression that
// leaves other than one value, and a number its conversion refuses make Evaluate return false with Result left
// alone. Division follows T's rule: CFixedPoint reports "Div/0. Fix your code" and gives the raw 4294967295.

#include "qor_core/container/qor_hybrid_array.h"
#include "qor_core/fixedpoint.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_charconv.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_types.h"

#include <charconv>
#include <cstring>
#include <limits>
#include <type_traits>

namespace NMathParser
{
struct SToken
{
    enum : uint32
    {
        VALUE = 0,
        PLUS = 1,
        MINUS = 2,
        MULTIPLY = 3,
        DIVIDE = 4,
        LEFT_PARANTHESIS = 5,
        RIGHT_PARANTHESIS = 6,
    };
};

template <typename T>
struct SMathToken
{
    uint32 _Type = SToken::VALUE;
    // Only for SToken::VALUE.
    T _Value {};
};

// A token list or stack: the head is the first element, the tail the top.
template <typename T>
class CMathTokenArray : public CQorHybridArray<SMathToken<T>, 128>
{
public:
    // REQUIRES: not empty.
    SMathToken<T>& GetTailData() { return this->Back(); }
    const SMathToken<T>& GetTailData() const { return this->Back(); }
    SMathToken<T>& GetHeadData() { return this->Front(); }
    const SMathToken<T>& GetHeadData() const { return this->Front(); }
};

// PLUS and MINUS 2, MULTIPLY and DIVIDE 3, the parentheses 0. REQUIRES: not SToken::VALUE (reports "false",
// gives 0).
int32 GetPrecedence( uint32 Type );

namespace NDetail
{
// Text to T by the library's conversions (the standard ones for floating point); only the error code counts.
template <typename T>
bool ConvertNumber( const char* First, const char* Last, T& Value )
{
    if constexpr ( std::is_floating_point_v<T> )
    {
        return std::from_chars( First, Last, Value ).ec == std::errc {};
    }
    else
    {
        return from_chars( First, Last, Value ).ec == std::errc {};
    }
}

// Integers wrap instead of overflowing, and a zero divisor reports as CFixedPoint's does, giving 0.
template <typename T>
T Combine( uint32 Operator, T Left, T Right )
{
    if constexpr ( std::is_integral_v<T> )
    {
        using UnsignedT = std::make_unsigned_t<T>;
        switch ( Operator )
        {
        case SToken::PLUS:
            return T( UnsignedT( Left ) + UnsignedT( Right ) );
        case SToken::MINUS:
            return T( UnsignedT( Left ) - UnsignedT( Right ) );
        case SToken::MULTIPLY:
            return T( UnsignedT( Left ) * UnsignedT( Right ) );
        default:
            QOR_ASSERT_MSG( Right != 0, "Div/0. Fix your code" );
            if ( Right == 0 )
            {
                return T( 0 );
            }
            if constexpr ( std::is_signed_v<T> )
            {
                if ( Right == T( -1 ) )
                {
                    return T( UnsignedT( 0 ) - UnsignedT( Left ) );
                }
            }
            return Left / Right;
        }
    }
    else
    {
        switch ( Operator )
        {
        case SToken::PLUS:
            return Left + Right;
        case SToken::MINUS:
            return Left - Right;
        case SToken::MULTIPLY:
            return Left * Right;
        default:
            return Left / Right;
        }
    }
}

// The longest number text converted: a sign and more than a few hundred digits never make a valid value.
inline constexpr int32 MaxNumberText = 512;
} // namespace NDetail

// The tokens of Expression. A '-' behind a value or a ')' is an operator, elsewhere the sign of a number; a
// number is the run of digits and '.' behind it. Anything else is skipped silently. False when a number's
// conversion fails.
template <typename T>
bool Tokenise( const CString& Expression, CMathTokenArray<T>& Tokens )
{
    const char* pText = Expression.GetData();
    const int32 Size = Expression.GetSize();
    int32 Index = 0;
    while ( Index < Size )
    {
        const char Char = pText[ Index ];
        uint32 Type = SToken::VALUE;
        switch ( Char )
        {
        case '(':
            Type = SToken::LEFT_PARANTHESIS;
            break;
        case ')':
            Type = SToken::RIGHT_PARANTHESIS;
            break;
        case '+':
            Type = SToken::PLUS;
            break;
        case '*':
            Type = SToken::MULTIPLY;
            break;
        case '/':
            Type = SToken::DIVIDE;
            break;
        case '-':
            if ( !Tokens.IsEmpty() && ( Tokens.GetTailData()._Type == SToken::VALUE ||
                                        Tokens.GetTailData()._Type == SToken::RIGHT_PARANTHESIS ) )
            {
                Type = SToken::MINUS;
            }
            break;
        default:
            break;
        }
        if ( Type != SToken::VALUE )
        {
            Tokens.Add( SMathToken<T> { Type, T {} } );
            ++Index;
            continue;
        }

        const int32 Start = Index;
        int32 End = Char == '-' ? Index + 1 : Index;
        const int32 DigitsStart = End;
        while ( End < Size && ( ( pText[ End ] >= '0' && pText[ End ] <= '9' ) || pText[ End ] == '.' ) )
        {
            ++End;
        }
        if ( End == DigitsStart )
        {
            // No digits: the character is skipped, a lone '-' with it.
            Index = Start + 1;
            continue;
        }
        if ( End - Start > NDetail::MaxNumberText )
        {
            return false;
        }
        char Buffer[ NDetail::MaxNumberText + 1 ];
        std::memcpy( Buffer, pText + Start, size_t( End - Start ) );
        Buffer[ End - Start ] = 0;
        T Value {};
        if ( !NDetail::ConvertNumber( Buffer, Buffer + ( End - Start ), Value ) )
        {
            return false;
        }
        Tokens.Add( SMathToken<T> { SToken::VALUE, Value } );
        Index = End;
    }
    return true;
}

// REQUIRES: Expression holds numbers, + - * / and balanced parentheses (a stray parenthesis reports
// "mismatching paranthesis" and is dropped). Returns true and stores the value, or false with Result untouched.
template <typename T>
bool Evaluate( const CString& Expression, T& Result )
{
    CMathTokenArray<T> Tokens;
    if ( !Tokenise( Expression, Tokens ) )
    {
        return false;
    }

    CMathTokenArray<T> Output;
    CMathTokenArray<T> OperatorStack;
    for ( const SMathToken<T>& Token : Tokens )
    {
        switch ( Token._Type )
        {
        case SToken::VALUE:
            Output.Add( Token );
            break;
        case SToken::LEFT_PARANTHESIS:
            OperatorStack.Add( Token );
            break;
        case SToken::RIGHT_PARANTHESIS:
            while ( !OperatorStack.IsEmpty() && OperatorStack.GetTailData()._Type != SToken::LEFT_PARANTHESIS )
            {
                Output.Add( OperatorStack.GetTailData() );
                OperatorStack.PopBack();
            }
            // clang-format off
            QOR_ASSERT( !OperatorStack.IsEmpty() && OperatorStack.GetTailData()._Type == SToken::LEFT_PARANTHESIS && "mismatching paranthesis" );
            // clang-format on
            if ( !OperatorStack.IsEmpty() )
            {
                OperatorStack.PopBack();
            }
            break;
        default:
        {
            // Left association: equal precedence pops too. A left parenthesis (0) stops it.
            const int32 Precedence = GetPrecedence( Token._Type );
            while ( !OperatorStack.IsEmpty() && OperatorStack.GetTailData()._Type != SToken::LEFT_PARANTHESIS &&
                    GetPrecedence( OperatorStack.GetTailData()._Type ) >= Precedence )
            {
                Output.Add( OperatorStack.GetTailData() );
                OperatorStack.PopBack();
            }
            OperatorStack.Add( Token );
            break;
        }
        }
    }
    while ( !OperatorStack.IsEmpty() )
    {
        // A '(' left over is the mismatch a ')' without one reports.
        const bool bParenthesis = OperatorStack.GetTailData()._Type == SToken::LEFT_PARANTHESIS;
        QOR_ASSERT_MSG( !bParenthesis, "!OperatorStack.IsEmpty() && OperatorStack.GetTailData()._Type == "
                                       "SToken::LEFT_PARANTHESIS && \"mismatching paranthesis\"" );
        if ( !bParenthesis )
        {
            Output.Add( OperatorStack.GetTailData() );
        }
        OperatorStack.PopBack();
    }

    // The operator stack, empty now, holds the values.
    for ( const SMathToken<T>& Token : Output )
    {
        if ( Token._Type == SToken::VALUE )
        {
            OperatorStack.Add( Token );
            continue;
        }
        if ( OperatorStack.GetSize() < 2 )
        {
            return false;
        }
        const T Right = OperatorStack.GetTailData()._Value;
        OperatorStack.PopBack();
        SMathToken<T>& Left = OperatorStack.GetTailData();
        Left._Value = NDetail::Combine( Token._Type, Left._Value, Right );
    }
    if ( OperatorStack.GetSize() != 1 )
    {
        return false;
    }
    QOR_ASSERT( OperatorStack.GetSize() == 1 && OperatorStack.GetHeadData()._Type == SToken::VALUE );
    Result = OperatorStack.GetHeadData()._Value;
    return true;
}
} // namespace NMathParser
