/** @file
 * A program that a test starts: succeeds when it finds itself on a set and its first interaction gets a number.
 */
#include "Live.h"

int main()
{
    return vbset::live::OnSet() && vbset::live::Trace("file", "from a started program", "", "") > 0 ? 0 : 1;
}
