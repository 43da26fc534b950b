#pragma once

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

// Ports of which the system's registry tells while an object lives. Wine lists them.

struct seeded_port
{
    std::optional<std::wstring> friendly_name;
    std::string port_name;          // as stored, a terminating zero or none with it
    const char *value = "PortName"; // none: the port has no such key at all
};

class seed
{
public:
    seed(const seeded_port &port, int number)
        : path("System\\CurrentControlSet\\Enum\\ROOT\\PORTS\\000" + std::to_string(number))
    {
        setText(path, "ClassGUID", std::string("{4d36e978-e325-11ce-bfc1-08002be10318}") + '\0');
        setText(path, "Class", "Ports");
        if (port.friendly_name) {
            const auto size = static_cast<DWORD>((port.friendly_name->size() + 1) * sizeof(wchar_t));
            must(RegSetKeyValueW(HKEY_LOCAL_MACHINE, std::wstring(path.begin(), path.end()).c_str(),
                                 L"FriendlyName", REG_SZ, port.friendly_name->c_str(), size));
        }
        if (port.value)
            setText(path + "\\Device Parameters", port.value, port.port_name);
    }
    ~seed() { must(RegDeleteTreeA(HKEY_LOCAL_MACHINE, path.c_str())); }
    seed(const seed &) = delete;
    seed &operator=(const seed &) = delete;

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
        must(RegSetKeyValueA(HKEY_LOCAL_MACHINE, key.c_str(), name, REG_SZ, text.data(),
                             static_cast<DWORD>(size)));
    }
    std::string path;
};
