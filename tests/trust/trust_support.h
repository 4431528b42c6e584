// Build material of the signature and .NET tests, made once per run in a
// temporary folder: a mingw image signed by a test CA made with openssl, and
// assemblies compiled with mcs.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "framework/fixture.h"

namespace trusttest {

using Bytes = std::vector<uint8_t>;

inline void Run(const std::string& command)
{
    if (std::system((command + " >/dev/null 2>&1").c_str()) != 0)
        throw std::runtime_error("failed: " + command);
}

inline Bytes ReadFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteFile(const std::string& path, const Bytes& bytes)
{
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline uint32_t U32(const Bytes& b, size_t at)
{
    return b.at(at) | (b.at(at + 1) << 8) | (b.at(at + 2) << 16) | (static_cast<uint32_t>(b.at(at + 3)) << 24);
}

// A test root CA, a code-signing certificate and a mail-only certificate
// under it, and one 32-bit mingw image in several states.
class Signed {
public:
    static const Signed& Get()
    {
        static Signed material;
        return material;
    }
    std::string Path(const std::string& name) const { return m_dir.path() + "/" + name; }
    const std::string& ca() const { return m_ca; }

private:
    Signed()
    {
        const std::string q = qvtest::ShellQuote(m_dir.path());
        std::ofstream(Path("a.c")) << "int main(void) { return 7; }\n";
        std::ofstream(Path("code.ext")) << "basicConstraints=CA:FALSE\nkeyUsage=critical,digitalSignature\n"
                                           "extendedKeyUsage=codeSigning\n";
        std::ofstream(Path("mail.ext")) << "basicConstraints=CA:FALSE\nextendedKeyUsage=emailProtection\n";
        Run("cd " + q + " && i686-w64-mingw32-gcc -O1 -s a.c -o app.exe");
        Run("cd " + q + " && openssl req -x509 -newkey rsa:2048 -nodes -keyout ca.key -out ca.pem -days 3650 "
                        "-subj '/CN=qvice test root' -addext 'basicConstraints=critical,CA:TRUE' "
                        "-addext 'keyUsage=critical,keyCertSign'");
        for (const char* leaf : {"code", "mail"}) {
            const std::string l = leaf;
            Run("cd " + q + " && openssl req -newkey rsa:2048 -nodes -keyout " + l + ".key -out " + l +
                ".csr -subj '/CN=qvice test " + l + "'");
            Run("cd " + q + " && openssl x509 -req -in " + l + ".csr -CA ca.pem -CAkey ca.key -CAcreateserial -out " +
                l + ".pem -days 3650 -extfile " + l + ".ext");
        }
        Run("cd " + q + " && osslsigncode sign -certs code.pem -key code.key -h sha256 -in app.exe -out signed.exe");
        Run("cd " + q + " && osslsigncode sign -certs code.pem -key code.key -h sha1 -in app.exe -out sha1.exe");
        Run("cd " + q + " && osslsigncode sign -certs mail.pem -key mail.key -h sha256 -in app.exe -out mail.exe");
        // One byte of the code of the signed image changed: the first byte
        // of the first section's raw data.
        Bytes image = ReadFile(Path("signed.exe"));
        const uint32_t pe = U32(image, 0x3C);
        const uint32_t sections = pe + 24 + (image.at(pe + 20) | (image.at(pe + 21) << 8));
        image.at(U32(image, sections + 20)) ^= 0x01;
        WriteFile(Path("tampered.exe"), image);
        m_ca = Path("ca.pem");
    }

    qvtest::TempDir m_dir;
    std::string m_ca;
};

// Assemblies compiled with mcs (CLR 4); the CLR 2 one is the attribute-less
// assembly with its metadata version text rewritten, since only the version 4
// profile is installed.
class Assemblies {
public:
    static const Assemblies& Get()
    {
        static Assemblies material;
        return material;
    }
    std::string Path(const std::string& name) const { return m_dir.path() + "/" + name; }

private:
    Assemblies()
    {
        const std::string q = qvtest::ShellQuote(m_dir.path());
        auto source = [&](const std::string& name, const std::string& text) { std::ofstream(Path(name)) << text; };
        const std::string main = "class P { static void Main() {} }\n";
        const std::string target = "[assembly: System.Runtime.Versioning.TargetFramework(";
        source("fx45.cs", target + "\".NETFramework,Version=v4.5\", FrameworkDisplayName = \".NET Framework 4.5\")]\n" + main);
        source("core.cs", target + "\".NETCoreApp,Version=v1.0\")]\n");
        source("std.cs", target + "\".NETStandard,Version=v1.6\")]\n");
        source("none.cs", main);
        // Attribute types of another assembly whose names differ from the
        // framework's only in case, one taking an integer.
        source("fake.cs", "namespace System.Runtime.Versioning {\n"
                          "public class TARGETFRAMEWORKATTRIBUTE : System.Attribute { public TARGETFRAMEWORKATTRIBUTE(int v) {} }\n"
                          "public class targetframeworkattribute : System.Attribute { public targetframeworkattribute(string s) {} }\n}\n");
        source("intctor.cs", "[assembly: System.Runtime.Versioning.TARGETFRAMEWORKATTRIBUTE(5)]\n" + main);
        source("lower.cs", "[assembly: System.Runtime.Versioning.targetframeworkattribute(\"Lower Case\")]\n" + main);
        // The attribute's type defined in the assembly itself: no member reference.
        source("local.cs", "namespace System.Runtime.Versioning {\n"
                           "public class TargetFrameworkAttribute : System.Attribute { public TargetFrameworkAttribute(string s) {} }\n}\n"
                           "[assembly: System.Runtime.Versioning.TargetFrameworkAttribute(\"Local\")]\n" + main);
        const std::string mcs = "cd " + q + " && mcs -sdk:4 -nowarn:436 ";
        Run(mcs + "-out:fx45.exe fx45.cs");
        Run(mcs + "-target:library -out:core.dll core.cs");
        Run(mcs + "-target:library -out:std.dll std.cs");
        Run(mcs + "-out:none.exe none.cs");
        Run(mcs + "-target:library -out:fake.dll fake.cs");
        Run(mcs + "-r:fake.dll -out:intctor.exe intctor.cs");
        Run(mcs + "-r:fake.dll -out:lower.exe lower.cs");
        Run(mcs + "-out:local.exe local.cs");
        Bytes clr2 = ReadFile(Path("none.exe"));
        const std::string from = "v4.0.30319", to = "v2.0.50727";
        const auto at = std::search(clr2.begin(), clr2.end(), from.begin(), from.end());
        if (at == clr2.end())
            throw std::runtime_error("no version text in none.exe");
        std::copy(to.begin(), to.end(), at);
        WriteFile(Path("clr2.exe"), clr2);
    }

    qvtest::TempDir m_dir;
};

}  // namespace trusttest
