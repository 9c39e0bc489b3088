// The GATT identifiers of all services and characteristics that the bridge uses. Identifiers of the
// form 0000xxxx-0000-1000-8000-00805F9B34FB are built on the Bluetooth base UUID; a device may
// report their 16-bit or their long form.
#pragma once

#include "platform/CBUUID.h"

// Ilo probe: one stream, which contains the battery level.
inline constexpr auto service_ilo =
    platform::CBUUID::UUIDWithString("85538af7-9604-4f46-a933-c9e7a9e05748");
inline constexpr auto charac_ilo =
    platform::CBUUID::UUIDWithString("23bcdd50-00ac-446d-92b9-07ab6e436ad8");

// Tenoval probe.
inline constexpr auto service_tenoval =
    platform::CBUUID::UUIDWithString("0000aa40-0000-1000-8000-00805f9b34fb");
inline constexpr auto charac_tenoval =
    platform::CBUUID::UUIDWithString("0000aa41-0000-1000-8000-00805f9b34fb");

// Tramsel motion sensor.
inline constexpr auto service_tramsel =
    platform::CBUUID::UUIDWithString("EF680400-9B35-4933-9B10-52FFA9740042");
inline constexpr auto charac_tramsel =
    platform::CBUUID::UUIDWithString("EF680408-9B35-4933-9B10-52FFA9740042");

// The standard Battery Service. Battery Level is one unsigned byte, and so is the battery health of
// a Fenwix (2BEB).
inline constexpr auto service_batt =
    platform::CBUUID::UUIDWithString("0000180f-0000-1000-8000-00805f9b34fb");
inline constexpr auto charac_batt =
    platform::CBUUID::UUIDWithString("00002a19-0000-1000-8000-00805f9b34fb");
inline constexpr auto charac_batt_heath =
    platform::CBUUID::UUIDWithString("00002beb-0000-1000-8000-00805f9b34fb");

// Corvelta: parameters.
inline constexpr auto service_corvelta_parametres =
    platform::CBUUID::UUIDWithString("89e6b9fd-f08f-4b6c-93e6-49a24ba04200");
inline constexpr auto charac_corvelta_FW =
    platform::CBUUID::UUIDWithString("36410ec0-a40f-49af-aa74-27b875ba8751");
inline constexpr auto charac_corvelta_secteur =
    platform::CBUUID::UUIDWithString("d35386e6-0b1e-453b-963e-9e1f2b527fe7");
inline constexpr auto charac_corvelta_force_sleep =
    platform::CBUUID::UUIDWithString("00428317-9ae7-49d7-adf5-8e295880ace8");

// Corvelta: contraction records, and the acquisition command that starts and stops them.
inline constexpr auto service_corvelta_contractions =
    platform::CBUUID::UUIDWithString("d72dcc05-7e84-464d-91a6-b8cc7fe47b2a");
inline constexpr auto charac_corvelta_contractions =
    platform::CBUUID::UUIDWithString("5d63afc1-16d0-4c47-bdb8-39de23daf30a");
inline constexpr auto charac_corvelta_acquisition =
    platform::CBUUID::UUIDWithString("5b4153a2-3f1c-4dc4-872e-e43265446878");

// Corvelta: calibration command, error code and new value.
inline constexpr auto service_corvelta_calibration =
    platform::CBUUID::UUIDWithString("a4459812-7361-4607-95e1-e58b2fc953d9");
inline constexpr auto charac_corvelta_calibration =
    platform::CBUUID::UUIDWithString("0860ac22-b172-468e-9755-03a53f3c7e40");
inline constexpr auto charac_corvelta_erreur_calibration =
    platform::CBUUID::UUIDWithString("60583850-163a-4c00-a0dc-2dfdd223a716");
inline constexpr auto charac_corvelta_new_calibration =
    platform::CBUUID::UUIDWithString("fe5eb478-cc3b-4ef0-b33c-b674b32e0c41");

// Fenwix: RMS and raw signal streams.
inline constexpr auto service_fenwix =
    platform::CBUUID::UUIDWithString("000098ab-0000-1000-8000-00805f9b34fb");
inline constexpr auto charac_fenwix_rms =
    platform::CBUUID::UUIDWithString("00003a89-0000-1000-8000-00805f9b34fb");
inline constexpr auto charac_fenwix_rms2 =
    platform::CBUUID::UUIDWithString("00003a90-0000-1000-8000-00805f9b34fb");
inline constexpr auto charac_fenwix_raw =
    platform::CBUUID::UUIDWithString("00003A87-0000-1000-8000-00805F9B34FB");
inline constexpr auto charac_fenwix_raw2 =
    platform::CBUUID::UUIDWithString("00003A88-0000-1000-8000-00805F9B34FB");

// Fenwix: command channel.
inline constexpr auto service_fenwix_config =
    platform::CBUUID::UUIDWithString("000098AC-0000-1000-8000-00805F9B34FB");
inline constexpr auto charac_fenwix_command =
    platform::CBUUID::UUIDWithString("00003A93-0000-1000-8000-00805F9B34FB");

// The standard Device Information service. A Fenwix has 32-bit numbers, little-endian, where the
// standard has texts, and its firmware version in 2A28 (Software Revision) instead of 2A26.
inline constexpr auto service_info =
    platform::CBUUID::UUIDWithString("0000180a-0000-1000-8000-00805f9b34fb");
inline constexpr auto charac_info_modele =
    platform::CBUUID::UUIDWithString("00002a24-0000-1000-8000-00805f9b34fb");
inline constexpr auto charac_info_firmware =
    platform::CBUUID::UUIDWithString("00002a28-0000-1000-8000-00805f9b34fb");
inline constexpr auto charac_info_hardware =
    platform::CBUUID::UUIDWithString("00002a27-0000-1000-8000-00805f9b34fb");
inline constexpr auto charac_info_serial =
    platform::CBUUID::UUIDWithString("00002a25-0000-1000-8000-00805f9b34fb");
inline constexpr auto charac_info_systid =
    platform::CBUUID::UUIDWithString("00002a23-0000-1000-8000-00805f9b34fb");
