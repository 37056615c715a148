// SPDX-License-Identifier: Apache-2.0
//
// A fake libusb-1.0 with one simulated printer, loaded into CUPS's usb backend through
// LD_LIBRARY_PATH. Most printers are attached by USB, and that backend differs from the others: it
// can miss a request for a drain. The tests therefore run the filter behind the real backend.
//
// The settings are the serial number in DEVICE_URI, as in
// usb://Corvantide/Ribbon%20Photo%20Printer?serial=error=060202&asleep=2. The functions are those
// that the backend calls, as libusb.h documents them.
#include <libusb-1.0/libusb.h>

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "printer.h"

// libusb's opaque types. There is one device, and its handle is the device.
struct libusb_device {};
struct libusb_device_handle : libusb_device {};

namespace {

constexpr std::uint8_t BULK_OUT = 0x01;
constexpr std::uint8_t BULK_IN = 0x82;
constexpr std::uint8_t SERIAL_NUMBER = 3;  // the index of its string descriptor
constexpr std::uint16_t PACKET_SIZE = 512;
// The time that a real transfer takes. The backend reads requests for a drain only while it writes,
// and without this delay it would miss most of them.
constexpr std::chrono::milliseconds TRANSFER_TIME(1);

// The IEEE 1284 device ID, without the two bytes of its length.
constexpr char DEVICE_ID[] =
    "MFG:Corvantide;MDL:Ribbon Photo Printer;CLS:PRINTER;DES:Corvantide Ribbon Photo Printer;";

const libusb_endpoint_descriptor ENDPOINTS[] = {
    {7, LIBUSB_DT_ENDPOINT, BULK_OUT, LIBUSB_TRANSFER_TYPE_BULK, PACKET_SIZE, 0, 0, 0, nullptr, 0},
    {7, LIBUSB_DT_ENDPOINT, BULK_IN, LIBUSB_TRANSFER_TYPE_BULK, PACKET_SIZE, 0, 0, 0, nullptr, 0},
};
constexpr std::uint8_t BIDIRECTIONAL = 2;  // the interface's protocol
const libusb_interface_descriptor INTERFACE_DESCRIPTOR = {
    9, LIBUSB_DT_INTERFACE, 0, 0,         2,       LIBUSB_CLASS_PRINTER,
    1, BIDIRECTIONAL,       0, ENDPOINTS, nullptr, 0};
const libusb_interface INTERFACE = {&INTERFACE_DESCRIPTOR, 1};
libusb_config_descriptor configuration = {9, LIBUSB_DT_CONFIG, 32,      1, 1, 0, 0xC0,
                                          0, &INTERFACE,       nullptr, 0};

// The backend reads in one thread and writes in another.
struct Bus {
  std::mutex lock;
  std::condition_variable changed;  // after a write
  std::string serial_number;
  std::optional<Printer> printer;
};
// Never destroyed: the backend exits while its reading thread still waits.
Bus& bus = *new Bus;

libusb_device_handle the_device;

bool plug_in() {
  const char* device_uri = std::getenv("DEVICE_URI");
  const char* serial = device_uri != nullptr ? std::strstr(device_uri, "?serial=") : nullptr;
  bus.serial_number = serial != nullptr ? std::strchr(serial, '=') + 1 : "";
  Settings settings;
  if (!parse_settings("virtual-printer://usb/?" + bus.serial_number, Attachment::Usb, settings))
    return false;
  bus.printer.emplace(settings.printer);
  return true;
}

// A string descriptor, in UTF-16; string 0 lists the languages.
std::string string_descriptor(int index) {
  constexpr char US_ENGLISH[] = "\x09\x04";
  std::string text = index == 0 ? US_ENGLISH : "";
  for (const char byte : index == SERIAL_NUMBER ? bus.serial_number : "") text += {byte, '\0'};
  return std::string({static_cast<char>(text.size() + 2), LIBUSB_DT_STRING}) + text;
}

// Waits until the printer sends something or disconnects, or until the deadline.
int read_from_printer(unsigned char* data, int capacity, int* size, Time deadline) {
  std::unique_lock<std::mutex> held(bus.lock);
  while (!bus.printer->IsDead()) {
    const Time now = Clock::now();
    const Piece piece = bus.printer->Take(now);
    if (piece.size > static_cast<std::size_t>(capacity)) return LIBUSB_ERROR_OVERFLOW;
    if (piece.size > 0) {
      std::copy_n(piece.data, piece.size, data);
      *size = static_cast<int>(piece.size);
      return LIBUSB_SUCCESS;
    }
    if (now >= deadline) return LIBUSB_ERROR_TIMEOUT;
    bus.changed.wait_until(held, std::min(deadline, bus.printer->NextDue()));
  }
  return LIBUSB_ERROR_NO_DEVICE;
}

int write_to_printer(const unsigned char* data, int size, int* written) {
  std::this_thread::sleep_for(TRANSFER_TIME);
  const std::lock_guard<std::mutex> held(bus.lock);
  if (bus.printer->IsDead()) return LIBUSB_ERROR_NO_DEVICE;
  bus.printer->Receive(reinterpret_cast<const char*>(data), static_cast<std::size_t>(size),
                       Clock::now());
  *written = size;
  bus.changed.notify_all();
  return LIBUSB_SUCCESS;
}

bool is_unplugged() {
  const std::lock_guard<std::mutex> held(bus.lock);
  return bus.printer->IsDead();
}

}  // namespace

int libusb_init(libusb_context** context) {
  if (context != nullptr) *context = nullptr;
  return bus.printer || plug_in() ? LIBUSB_SUCCESS : LIBUSB_ERROR_OTHER;
}

void libusb_exit(libusb_context*) {}

const char* libusb_strerror(int) { return "simulated by virtual-printer"; }

ssize_t libusb_get_device_list(libusb_context*, libusb_device*** list) {
  static libusb_device* devices[2];
  devices[0] = is_unplugged() ? nullptr : &the_device;
  *list = devices;
  return devices[0] != nullptr ? 1 : 0;
}

void libusb_free_device_list(libusb_device**, int) {}

int libusb_get_device_descriptor(libusb_device*, libusb_device_descriptor* descriptor) {
  *descriptor = {};
  descriptor->bLength = LIBUSB_DT_DEVICE_SIZE;
  descriptor->bDescriptorType = LIBUSB_DT_DEVICE;
  descriptor->bcdUSB = 0x0200;
  descriptor->idVendor = 0x1209;  // a registry for open projects; product 1 is for tests
  descriptor->idProduct = 0x0001;
  descriptor->iSerialNumber = bus.serial_number.empty() ? 0 : SERIAL_NUMBER;
  descriptor->bNumConfigurations = 1;
  return LIBUSB_SUCCESS;
}

int libusb_get_config_descriptor(libusb_device*, std::uint8_t, libusb_config_descriptor** config) {
  *config = &configuration;
  return LIBUSB_SUCCESS;
}

void libusb_free_config_descriptor(libusb_config_descriptor*) {}

int libusb_open(libusb_device*, libusb_device_handle** handle) {
  *handle = &the_device;
  return is_unplugged() ? LIBUSB_ERROR_NO_DEVICE : LIBUSB_SUCCESS;
}

void libusb_close(libusb_device_handle*) {}

int libusb_get_string_descriptor_ascii(libusb_device_handle*, std::uint8_t index,
                                       unsigned char* data, int capacity) {
  if (index != SERIAL_NUMBER) return LIBUSB_ERROR_INVALID_PARAM;
  return std::snprintf(reinterpret_cast<char*>(data), static_cast<std::size_t>(capacity), "%s",
                       bus.serial_number.c_str());
}

// Answers three requests: the printer class's for the device ID, and the standard ones for the
// configuration and for a string descriptor, which newer backends read themselves.
int libusb_control_transfer(libusb_device_handle*, std::uint8_t type, std::uint8_t request,
                            std::uint16_t value, std::uint16_t, unsigned char* data,
                            std::uint16_t capacity, unsigned) {
  constexpr int STANDARD_IN = int{LIBUSB_ENDPOINT_IN} | int{LIBUSB_REQUEST_TYPE_STANDARD};
  constexpr int CLASS_IN = int{LIBUSB_ENDPOINT_IN} | int{LIBUSB_REQUEST_TYPE_CLASS};
  std::string answer;
  if (type == (CLASS_IN | LIBUSB_RECIPIENT_INTERFACE) && request == 0) {
    answer = std::string({'\0', sizeof DEVICE_ID + 1}) + DEVICE_ID;
  } else if (type == STANDARD_IN && request == LIBUSB_REQUEST_GET_CONFIGURATION) {
    answer = std::string(1, static_cast<char>(configuration.bConfigurationValue));
  } else if (type == STANDARD_IN && request == LIBUSB_REQUEST_GET_DESCRIPTOR &&
             value >> 8 == LIBUSB_DT_STRING) {
    answer = string_descriptor(value & 0xFF);
  } else {
    return LIBUSB_ERROR_PIPE;
  }
  const std::size_t size = std::min<std::size_t>(answer.size(), capacity);
  std::copy_n(answer.begin(), size, data);
  return static_cast<int>(size);
}

int libusb_bulk_transfer(libusb_device_handle*, unsigned char endpoint, unsigned char* data,
                         int length, int* transferred, unsigned timeout) {
  int ignored = 0;
  if (transferred == nullptr) transferred = &ignored;
  *transferred = 0;
  if (endpoint == BULK_OUT) return write_to_printer(data, length, transferred);
  const Time deadline =
      timeout == 0 ? Time::max() : Clock::now() + std::chrono::milliseconds(timeout);
  return read_from_printer(data, length, transferred, deadline);
}

int libusb_kernel_driver_active(libusb_device_handle*, int) { return 0; }
int libusb_detach_kernel_driver(libusb_device_handle*, int) { return LIBUSB_SUCCESS; }
int libusb_attach_kernel_driver(libusb_device_handle*, int) { return LIBUSB_SUCCESS; }
int libusb_set_configuration(libusb_device_handle*, int) { return LIBUSB_SUCCESS; }
int libusb_claim_interface(libusb_device_handle*, int) { return LIBUSB_SUCCESS; }
int libusb_release_interface(libusb_device_handle*, int) { return LIBUSB_SUCCESS; }
int libusb_set_interface_alt_setting(libusb_device_handle*, int, int) { return LIBUSB_SUCCESS; }
int libusb_clear_halt(libusb_device_handle*, unsigned char) { return LIBUSB_SUCCESS; }
int libusb_reset_device(libusb_device_handle*) { return LIBUSB_SUCCESS; }
