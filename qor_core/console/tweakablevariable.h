#pragma once

// The typed tweakables. CTweakableTyped<T> reads and writes a variable of type T through four virtual
// operations (Get, Set, ValueToString, ParseValue) that the text operations of CTweakable go through; the
// kinds below it differ in parsing, range or what the console answers:
// - CTweakableNumber<T> for int32, uint32, float and CFixedPoint, and CTweakableMinMax<T>, which keeps every
//   write inside [ _Min, _Max ];
// - CTweakableBool: a call without argument toggles, and the answer is "Enabled" or "Disabled". The texts "0",
//   "false" and "no" are false, all others true, case counting;
// - CTweakableString;
// - CTweakableCallback: a function instead of a variable; the answer is "Called " and its label;
// - CTweakableColor: red, green, blue and alpha, read and written as text of its own.

#include "qor_core/console/consolecmdvariable.h"
#include "qor_core/fixedpoint.h"
#include "qor_core/matrix.h"
#include "qor_core/qor_charconv.h"
#include "qor_core/qor_optional.h"
#include "qor_core/qor_string.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <functional>

namespace NTweakable
{
// The value conversions of the library's text: decimal integers, "%.3f" floats without trailing zeros,
// fixed point with its significant decimals, "true" and "false".
template <typename T> void ValueToText( CString& Out, const T& Value )
{
    if constexpr ( std::is_same_v<T, bool> )
    {
        Out = Value ? "true" : "false";
    }
    else if constexpr ( std::is_same_v<T, CString> )
    {
        Out = Value;
    }
    else if constexpr ( std::is_same_v<T, float> || std::is_same_v<T, CFixedPoint> )
    {
        Out = CString( Value );
    }
    else
    {
        char Buffer[24];
        Out = CString( ::ToString( Buffer, Buffer + sizeof( Buffer ), Value ) );
    }
}

// The whole text as a T into Value; false, with Value untouched, when it is no such value.
template <typename T> bool TextToValue( CQorStringView Text, T& Value )
{
    if constexpr ( std::is_same_v<T, bool> )
    {
        Value = !( Text == "0" || Text == "false" || Text == "no" );
        return true;
    }
    else if constexpr ( std::is_same_v<T, CString> )
    {
        Value = CString( Text );
        return true;
    }
    else if constexpr ( std::is_same_v<T, float> )
    {
        float Parsed = 0.0f;
        const std::from_chars_result Result = std::from_chars( Text.begin(), Text.end(), Parsed );
        if ( Text.IsEmpty() || Result.ec != std::errc{} || Result.ptr != Text.end() || !std::isfinite( Parsed ) )
        {
            return false;
        }
        Value = Parsed;
        return true;
    }
    else
    {
        const CQorOptional<T> Parsed = FromString<T>( Text );
        if ( Parsed )
        {
            Value = Parsed.GetValue();
        }
        return static_cast<bool>( Parsed );
    }
}
} // namespace NTweakable

template <typename T> class CTweakableTyped : public CTweakable
{
public:
    CTweakableTyped( T* pValue, CQorStringView Name, CQorStringView Description )
        : CTweakableTyped( pValue, Name, Description, TypeTagOf<CTweakableTyped>() )
    {
    }

    void ToString( CString& Out ) const override { ValueToString( Out, Get() ); }
    bool FromString( CQorStringView Text ) override
    {
        T Value{};
        if ( !ParseValue( Text, Value ) )
        {
            return false;
        }
        Set( Value );
        return true;
    }

    // The value, or a default T without a variable.
    virtual T Get() const { return _pValue ? *static_cast<const T*>( _pValue ) : T{}; }
    // Stores a value that differs and tells the change hook; nothing without a variable.
    virtual void Set( const T& Value )
    {
        if ( _pValue && !( *static_cast<T*>( _pValue ) == Value ) )
        {
            *static_cast<T*>( _pValue ) = Value;
            NotifyChanged();
        }
    }
    virtual void ValueToString( CString& Out, const T& Value ) const { NTweakable::ValueToText( Out, Value ); }
    // False, with Value untouched, when Text is no T. A plain out-parameter: the value may be a CString.
    virtual bool ParseValue( CQorStringView Text, T& Value ) const { return NTweakable::TextToValue( Text, Value ); }

protected:
    CTweakableTyped( T* pValue, CQorStringView Name, CQorStringView Description, const void* pTypeTag )
        : CTweakable( pValue, Name, Description, pTypeTag )
    {
    }
};

template <typename T> class CTweakableNumber : public CTweakableTyped<T>
{
    static_assert( std::is_same_v<T, int32> || std::is_same_v<T, uint32> || std::is_same_v<T, float> ||
                       std::is_same_v<T, CFixedPoint>,
                   "numbers are int32, uint32, float or CFixedPoint" );

public:
    CTweakableNumber( T* pValue, CQorStringView Name, CQorStringView Description )
        : CTweakableTyped<T>( pValue, Name, Description, CTweakable::TypeTagOf<CTweakableNumber>() )
    {
    }

protected:
    CTweakableNumber( T* pValue, CQorStringView Name, CQorStringView Description, const void* pTypeTag )
        : CTweakableTyped<T>( pValue, Name, Description, pTypeTag )
    {
    }
};

template <typename T> class CTweakableMinMax : public CTweakableNumber<T>
{
public:
    // REQUIRES: Min <= Max.
    CTweakableMinMax( T* pValue, CQorStringView Name, CQorStringView Description, T Min, T Max )
        : CTweakableNumber<T>( pValue, Name, Description, CTweakable::TypeTagOf<CTweakableMinMax>() ), _Min( Min ),
          _Max( Max )
    {
        QOR_ASSERT( !( Max < Min ) );
    }

    void Set( const T& Value ) override
    {
        CTweakableNumber<T>::Set( Value < _Min ? _Min : ( _Max < Value ? _Max : Value ) );
    }
    T GetMin() const { return _Min; }
    T GetMax() const { return _Max; }

private:
    T _Min;
    T _Max;
};

class CTweakableBool : public CTweakableTyped<bool>
{
public:
    CTweakableBool( bool* pValue, CQorStringView Name, CQorStringView Description )
        : CTweakableTyped<bool>( pValue, Name, Description, TypeTagOf<CTweakableBool>() )
    {
    }
    void Execute( SConsoleCmdResult& Result, CConsoleArguments Arguments ) override;
};

class CTweakableString : public CTweakableTyped<CString>
{
public:
    CTweakableString( CString* pValue, CQorStringView Name, CQorStringView Description )
        : CTweakableTyped<CString>( pValue, Name, Description, TypeTagOf<CTweakableString>() )
    {
    }
};

class CTweakableCallback : public CTweakable
{
public:
    using FCallback = std::function<void( CConsoleArguments Arguments )>;

    CTweakableCallback( CQorStringView Name, CQorStringView Label, FCallback Callback, CQorStringView Description = {} )
        : CTweakable( nullptr, Name, Description, TypeTagOf<CTweakableCallback>() ), _Label( Label ),
          _Callback( std::move( Callback ) )
    {
    }

    // The label.
    void ToString( CString& Out ) const override { Out = _Label; }
    // A callback holds no value.
    bool FromString( CQorStringView ) override { return false; }
    // Calls the function with all arguments: "Called " and the label.
    void Execute( SConsoleCmdResult& Result, CConsoleArguments Arguments ) override;
    // Also the label and the function.
    void TakeBinding( CTweakable& Other ) override;

private:
    CString _Label;
    FCallback _Callback;
};

// A colour of four float channels, red, green, blue and alpha, in 0 to 1. Its text is the four channels in their
// shortest exact form, "1 0.5 0 1". It reads that, three channels with alpha 1, channels above 1 on the 0 to 255
// scale, or a hexadecimal "0xAARRGGBB", as the persistence reader reads colours. On the console the channels may
// stand as separate arguments.
class CTweakableColor : public CTweakable
{
public:
    using CColor = CVector<float, 4>;

    CTweakableColor( CColor* pValue, CQorStringView Name, CQorStringView Description )
        : CTweakable( pValue, Name, Description, TypeTagOf<CTweakableColor>() )
    {
    }

    void ToString( CString& Out ) const override;
    bool FromString( CQorStringView Text ) override;
    // Up to four arguments, taken together as one text.
    void Execute( SConsoleCmdResult& Result, CConsoleArguments Arguments ) override;

    // The colour, or transparent black without a variable.
    CColor Get() const { return _pValue ? *static_cast<const CColor*>( _pValue ) : CColor(); }
    // Stores a colour that differs and tells the change hook; nothing without a variable.
    void Set( const CColor& Value );
    // False, with Value untouched, when Text is none of the colour's forms.
    static bool ParseColor( CQorStringView Text, CColor& Value );
};
