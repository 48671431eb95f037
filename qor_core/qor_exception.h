#pragma once

// The library's exceptions. The core reports misuse by assertion and expected failures by return values;
// exceptions serve the file layer alone, where a failed open or write leaves nothing to go on with.

#include "qor_core/qor_string.h"

class CQorException
{
public:
    // Where names the place, usually the source file; Line is the source line there.
    CQorException( const CString& Where, int32 Line, const CString& Description )
        : _Where( Where ), _Description( Description ), _Line( Line )
    {
    }
    virtual ~CQorException() = default;

    // "Exception in: <place>, line: <line>. Description: <message>".
    virtual CString GetText() const;

    const CString& GetWhere() const { return _Where; }
    const CString& GetDescription() const { return _Description; }
    int32 GetLine() const { return _Line; }

protected:
    CString _Where;
    CString _Description;
    int32 _Line;
};

// Thrown by files for a failed open and failed writes.
class CQorFileException : public CQorException
{
public:
    using CQorException::CQorException;
};
