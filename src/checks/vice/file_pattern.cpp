// The eight file pattern checks: one machinery (RunFileTests) over the
// package's own tests for the check; only name, description and message
// differ. The tests are read at construction, after the severity; the base
// gets the name constant itself, since no member may be called before it
// stands.
#include "checks/vice/file_pattern.h"

#define QV_FILE_PATTERN_CHECK(Class, Export, MessageId)                                               \
    Class::Class(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall)                                     \
    {                                                                                                  \
        LoadFileTests(Class::GetName(), FileTests);                                                    \
    }                                                                                                  \
    Class::~Class() = default;                                                                         \
    _stringx<> Class::GetName() const { return Name; }                                                 \
    _stringx<> Class::GetDescription() const { return LoadMessage(DescriptionId); }                    \
    void Class::Validate() { RunFileTests(MessageId, FileTests); }                                     \
    QV_CHECK_EXPORT(Export, Class)

QV_FILE_PATTERN_CHECK(CQVVice01, QVVICE01, 219)
QV_FILE_PATTERN_CHECK(CQVVice02, QVVICE02, 220)
QV_FILE_PATTERN_CHECK(CQVVice03, QVVICE03, 221)
QV_FILE_PATTERN_CHECK(CQVVice05, QVVICE05, 223)
QV_FILE_PATTERN_CHECK(CQVVice06, QVVICE06, 224)
QV_FILE_PATTERN_CHECK(CQVVice07, QVVICE07, 225)
QV_FILE_PATTERN_CHECK(CQVVice08, QVVICE08, 226)

// The name comes from the caller, so that the app package subclass reads
// its own rows.
CQVVice04::CQVVice04(MSIHANDLE hInstall, const _stringx<>& name) : CQVViceBase(name, hInstall)
{
    LoadFileTests(name, FileTests);
}
CQVVice04::~CQVVice04() = default;
_stringx<> CQVVice04::GetName() const { return Name; }
_stringx<> CQVVice04::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVVice04::Validate() { RunFileTests(ChooseMessage(), FileTests); }
UINT CQVVice04::ChooseMessage() const { return 222; }
QV_CHECK_EXPORT_NAMED(QVVICE04, CQVVice04)
