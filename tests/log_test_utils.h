#pragma once

// Helpers of the log tests: a logger that records what reaches it, a guard that puts the default logger
// back and takes routes out of the process-wide table, and file helpers.

#include "qor_core/filelogger.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <initializer_list>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

inline std::string ToStdString( CQorStringView View )
{
    return std::string( View.GetData() ? View.GetData() : "", size_t( View.GetSize() ) );
}

struct SLoggedMessage
{
    uint32 Category;
    std::string File;
    uint32 Line;
    std::string Text;

    bool operator==( const SLoggedMessage& ) const = default;
    friend std::ostream& operator<<( std::ostream& Stream, const SLoggedMessage& Message )
    {
        return Stream << Message.Category << " " << Message.File << ":" << Message.Line << " '" << Message.Text << "'";
    }
};

// Records every message; safe to log to from several threads. It counts nothing by itself.
class CRecordingLogger : public CLogger
{
public:
    void Log( uint32 Category, CQorStringView File, uint32 Line, const CString& Message ) override
    {
        std::lock_guard<std::mutex> Lock( _Mutex );
        _Messages.push_back( { Category, ToStdString( File ), Line, Message.GetStdString() } );
    }
    void Flush() override { ++_nFlushes; }
    int GetLoggerType() const override { return LOGGER_TYPE_NULL; }
    void Clear() override {}

    std::vector<SLoggedMessage> Messages() const
    {
        std::lock_guard<std::mutex> Lock( _Mutex );
        return _Messages;
    }
    std::vector<std::string> Texts() const
    {
        std::vector<std::string> Texts;
        for ( const SLoggedMessage& Message : Messages() )
        {
            Texts.push_back( Message.Text );
        }
        return Texts;
    }
    int Flushes() const { return _nFlushes; }

private:
    mutable std::mutex _Mutex;
    std::vector<SLoggedMessage> _Messages;
    std::atomic<int> _nFlushes{ 0 };
};

// Puts the default logger back and removes the given routes when the test ends, so that no route outlives
// the logger it points to.
class CLogGuard
{
public:
    explicit CLogGuard( std::initializer_list<uint32> Categories = {} ) : _Categories( Categories ) {}
    ~CLogGuard()
    {
        SetLogger( {} );
        for ( uint32 Category : _Categories )
        {
            RemoveCategoryLogger( Category );
        }
    }
    CLogGuard( const CLogGuard& ) = delete;
    CLogGuard& operator=( const CLogGuard& ) = delete;

private:
    std::vector<uint32> _Categories;
};

// Records what reaches the default logger for its scope.
class CLogRecorder
{
public:
    CLogRecorder() : _pLogger( new CRecordingLogger ) { SetLogger( CQorScopedPtr<CLogger>( _pLogger ) ); }
    ~CLogRecorder() { SetLogger( {} ); }
    std::vector<std::string> Texts() const { return _pLogger->Texts(); }
    CRecordingLogger& Logger() const { return *_pLogger; }

private:
    CRecordingLogger* _pLogger;
};

// A path in the temporary folder that no other test of any process uses; the file goes when the object does.
class CTempPath
{
public:
    explicit CTempPath( const std::string& Name )
        : _Path( "/tmp/qor_core_test_" + std::to_string( ::getpid() ) + "_" + std::to_string( s_nNext++ ) + "_" +
                 Name )
    {
    }
    ~CTempPath() { std::remove( _Path.c_str() ); }
    CTempPath( const CTempPath& ) = delete;
    CTempPath& operator=( const CTempPath& ) = delete;

    const std::string& Path() const { return _Path; }
    const char* c_str() const { return _Path.c_str(); }

private:
    static inline std::atomic<int> s_nNext{ 0 };
    std::string _Path;
};
