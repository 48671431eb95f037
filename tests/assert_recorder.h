#pragma once

// Records every assertion report through the library's handler while in scope, and restores the previous
// handler afterwards. It never sets a site's once flag, so the same site can fire again in the next test.

#include "qor_core/qor_assert.h"

#include <string>
#include <vector>

class CAssertRecorder
{
public:
    struct SReport
    {
        std::string Text;
        std::string File;
        uint32 nLine;
    };

    CAssertRecorder() : _pPreviousRecorder( s_pActive ), _pPreviousHandler( SetAssertHandler( &Record ) )
    {
        s_pActive = this;
    }
    ~CAssertRecorder()
    {
        s_pActive = _pPreviousRecorder;
        SetAssertHandler( _pPreviousHandler );
    }
    CAssertRecorder( const CAssertRecorder& ) = delete;
    CAssertRecorder& operator=( const CAssertRecorder& ) = delete;

    const std::vector<SReport>& Reports() const { return _Reports; }
    std::vector<std::string> Texts() const
    {
        std::vector<std::string> Texts;
        for ( const SReport& Report : _Reports )
        {
            Texts.push_back( Report.Text );
        }
        return Texts;
    }
    void Clear() { _Reports.clear(); }

private:
    static void Record( const char* pText, const char* pFile, uint32 nLine, bool, bool*, bool* )
    {
        s_pActive->_Reports.push_back( { pText ? pText : "", pFile ? pFile : "", nLine } );
    }

    static inline CAssertRecorder* s_pActive = nullptr;
    CAssertRecorder* _pPreviousRecorder;
    FQorAssertHandler _pPreviousHandler;
    std::vector<SReport> _Reports;
};
