// The server's unique device name (UDN) and the signature it sends.
#pragma once

#include <string>
#include <string_view>

#include "core/str.h"

// SERVER header of HTTP and SSDP.
constexpr const char* kServerSignature = "Linux/2.x.x, UPnP/1.0, Pelorama UPnP SDK/1.0";

// Built once and kept for the life of the process: "uuid:896659847466-<hardware address>-<digits>", or without any
// hardware address "896659847466-0000-<digits>". The digits come from the setting `friendlyname`.
std::string ssdp_device_id();
void ssdp_forget_device_id();  // tests

// The same from its two sources: the display name (missing or empty: the built-in digits) and a hardware address as
// "00:1a:2b:3c:4d:5e" (missing: the form without).
std::string device_id_for(const Text& friendly_name, const Text& hardware_address);
