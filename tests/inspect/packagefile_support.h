// One package for the PackageFile image operations: the mingw images, a DOS
// program and a managed image in an embedded cabinet, a text file, and a
// file that is in no cabinet.
#pragma once

#include "inspector_support.h"
#include "pe_support.h"

namespace pftest {

using namespace qvtest;
using Lines = std::vector<std::wstring>;

inline std::wstring Lost(const std::wstring& name, const std::wstring& key)
{
    return L"QVPROBE\t1\tFile " + name + L" in Component Main could not be found. All tests against this file's "
           L"contents may be invalid.\t\tFile\tFile\t" + key;
}

// Files in Sequence order: App (app32), Wide (app64), Dos, Net, Text, Gone.
// extra holds further rows (an API list) the test adds.
inline std::string ImagePackage(const TempDir& dir, const std::vector<std::string>& extra = {}, bool debugging = false)
{
    petest::Bytes dos = petest::DosHeader(0, 0x40);
    petest::Put16(dos, 0x18, 0x1C);
    petest::PeBuilder managed;
    managed.sections = {{0x1000, 0x100, 0x100, 0x200}};
    managed.directories[14] = {0x1000, 72};
    const petest::Bytes net = managed.Build();
    const auto& images = petest::MingwImages::Get();
    MakeCabinet(dir, "img.cab",
                {{"App", ReadPosixFile(images.app32())},
                 {"Wide", ReadPosixFile(images.app64())},
                 {"Dos", std::string(dos.begin(), dos.end())},
                 {"Net", std::string(net.begin(), net.end())},
                 {"Text", "plain text"}});
    auto q = ProductTables(debugging);
    q.insert(q.end(), {ComponentRow("Main", "INSTALLDIR"), FileRow("App", "Main", "APP.EXE|App.exe", 0, 1),
                       FileRow("Wide", "Main", "wide.exe", 0x4000, 2), FileRow("Dos", "Main", "dos.com", 0, 3),
                       FileRow("Net", "Main", "net.dll", 0, 4), FileRow("Text", "Main", "t.txt", 0, 5),
                       FileRow("Gone", "Main", "gone.dll", 0, 6), MediaRow(1, 5, "#img.cab")});
    q.insert(q.end(), extra.begin(), extra.end());
    const std::string msi = BuildPackage(dir, "images", q);
    AddStream(msi, "img.cab", dir.path() + "/img.cab");
    return msi;
}

}  // namespace pftest
