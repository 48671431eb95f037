#include "qor_core/math_parser.h"

namespace NMathParser
{
int32 GetPrecedence( uint32 Type )
{
    switch ( Type )
    {
    case SToken::PLUS:
    case SToken::MINUS:
        return 2;
    case SToken::MULTIPLY:
    case SToken::DIVIDE:
        return 3;
    case SToken::LEFT_PARANTHESIS:
    case SToken::RIGHT_PARANTHESIS:
        return 0;
    default:
        QOR_ASSERT( false );
        return 0;
    }
}
} // namespace NMathParser
