// QVICE13 to QVICE15 are the best-practice checks QVBP17 to QVBP19 under a
// logo name: plain forwards, so their findings carry the names QVBP17 to
// QVBP19.
#include "framework/exports.h"

extern "C" UINT WINAPI QVICE13(MSIHANDLE hInstall) { return QVBP17(hInstall); }
extern "C" UINT WINAPI QVICE14(MSIHANDLE hInstall) { return QVBP18(hInstall); }
extern "C" UINT WINAPI QVICE15(MSIHANDLE hInstall) { return QVBP19(hInstall); }
