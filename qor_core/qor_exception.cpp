#include "qor_core/qor_exception.h"

#include <string>

CString CQorException::GetText() const
{
    CString Text( "Exception in: " );
    Text += _Where;
    Text += ", line: ";
    Text += std::to_string( _Line ).c_str();
    Text += ". Description: ";
    Text += _Description;
    return Text;
}
