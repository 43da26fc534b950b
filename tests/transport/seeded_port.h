#pragma once

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

// Ports of which the system's registry tells while an object lives. Wine lists them.

struct SeededPort
{
    std::optional<std::wstring> friendlyName;
    std::string portName;           // as stored, a terminating zero or none with it
    const char *value = "PortName"; // none: the port has no such key at all
};

class RegistrySeed
{
public:
    RegistrySeed(const SeededPort &port, int number)
        : path("System\\CurrentControlSet\\Enum\\ROOT\\PORTS\\000" + std::to_string(number))
    {
        setText(path, "ClassGUID", std::string("{4d36e978-e325-11ce-bfc1-08002be10318}") + '\0');
        setText(path, "Class", "Ports");
        if (port.friendlyName) {
            const auto size = DWORD((port.friendlyName->size() + 1) * sizeof(wchar_t));
            must(RegSetKeyValueW(HKEY_LOCAL_MACHINE, std::wstring(path.begin(), path.end()).c_str(),
                                 L"FriendlyName", REG_SZ, port.friendlyName->c_str(), size));
        }
        if (port.value)
            setText(path + "\\Device Parameters", port.value, port.portName);
    }
    ~RegistrySeed() { must(RegDeleteTreeA(HKEY_LOCAL_MACHINE, path.c_str())); }
    RegistrySeed(const RegistrySeed &) = delete;
    RegistrySeed &operator=(const RegistrySeed &) = delete;

private:
    static void must(LSTATUS status)
    {
        if (status == ERROR_SUCCESS)
            return;
        std::printf("FAILED: the registry takes no port: %ld\n", status);
        std::exit(1);
    }
    static void setText(const std::string &key, const char *name, std::string text)
    {
        const std::size_t size = text.size();
        text += '#'; // the system would store a zero that comes after the text
        must(RegSetKeyValueA(HKEY_LOCAL_MACHINE, key.c_str(), name, REG_SZ, text.data(), DWORD(size)));
    }
    std::string path;
};
