// Windows build: the system headers themselves.
#pragma once

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#include <msi.h>
#include <msiquery.h>
#include <oleauto.h>
#include <objbase.h>
