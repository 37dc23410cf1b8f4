// Kov_diag_global: the process's one diagnostic object, and a service's
// diagnostic parameters in the registry.
#include <mutex>
#include <stdexcept>

#include "kov/codes.h"
#include "kov/diag.h"
#include "nev/registry.h"

namespace kov {

std::atomic<Kov_diag_main*> Kov_diag_global::m_global_p{nullptr};

namespace {

// Serialises making or installing the object, so that threads calling
// global() or initialise() first at the same time make one object between
// them. Constant-initialised and trivially destroyed: usable at any time.
std::mutex global_mutex;

// Pushes the code of a failed read or write: the machine form when a
// machine was named.
void push_failure(std::uint32_t local_code, std::uint32_t machine_code, const std::u16string& machine,
                  const std::u16string& service, nev::Nev_status& status) {
  if (machine.empty()) {
    status.push(local_code, nev::Nev_wstring_status_arg(service));
  } else {
    status.push(machine_code, nev::Nev_wstring_status_arg(service), nev::Nev_wstring_status_arg(machine));
  }
}

}  // namespace

// Each of the three first tests the pointer without the lock (once set, it
// never changes), then tests again and makes or installs the object with
// the lock held. An exception from a constructor leaves no object.
void Kov_diag_global::initialise() {
  if (m_global_p.load(std::memory_order_acquire) != nullptr) return;
  const std::lock_guard<std::mutex> hold(global_mutex);
  if (m_global_p.load(std::memory_order_relaxed) == nullptr) {
    m_global_p.store(new Kov_diag_main(), std::memory_order_release);
  }
}

void Kov_diag_global::initialise(Kov_diag_main* diag) {
  if (m_global_p.load(std::memory_order_acquire) != nullptr) return;
  if (diag == nullptr) throw std::invalid_argument("Null pointer given to Kov_diag_global::initialise()");
  const std::lock_guard<std::mutex> hold(global_mutex);
  if (m_global_p.load(std::memory_order_relaxed) == nullptr) m_global_p.store(diag, std::memory_order_release);
}

void Kov_diag_global::initialise(const std::u16string& service) {
  {
    const std::lock_guard<std::mutex> hold(global_mutex);
    if (m_global_p.load(std::memory_order_relaxed) == nullptr) {
      m_global_p.store(new Kov_diag_main(service), std::memory_order_release);
      return;
    }
  }
  std::u16string path = u".";
  std::u16string name = u"default.dgn";
  std::uint16_t level = 0;
  nev::Nev_status status;
  get_service_parameters(u"", service, path, name, level, status);
  // All three values or none: a partial read leaves the object as it is.
  if (status.ok()) m_global_p.load(std::memory_order_acquire)->reset(path, name, level);
}

Kov_diag_main& Kov_diag_global::global() {
  Kov_diag_main* object = m_global_p.load(std::memory_order_acquire);
  if (object == nullptr) {
    initialise();
    object = m_global_p.load(std::memory_order_acquire);
  }
  return *object;
}

void Kov_diag_global::get_service_parameters(const std::u16string& machine, const std::u16string& service,
                                             std::u16string& path, std::u16string& name, std::uint16_t& level,
                                             nev::Nev_status& status) {
  const std::u16string key = nev::nev_reg_service_parameters_key(service);
  const nev::Nev_reg_connection connection(machine, nev::NEV_HKEY_LOCAL_MACHINE, status);
  const nev::Nev_hkey root = connection.get();
  if (status.ok()) {
    nev::nev_get_reg_string_value(root, key, u"", KOV_DIAG_PATH_VALUE, path, status);
  }
  if (status.ok()) {
    nev::nev_get_reg_string_value(root, key, u"", KOV_DIAG_NAME_VALUE, name, status);
  }
  if (status.ok()) {
    std::uint32_t value = 0;
    nev::nev_get_reg_uint_value(root, key, u"", KOV_DIAG_LEVEL_VALUE, value, status);
    if (status.ok()) level = static_cast<std::uint16_t>(value);
  }
  if (!status.ok()) push_failure(KOV_E_DIAG_READ, KOV_E_DIAG_READ_MACHINE, machine, service, status);
}

void Kov_diag_global::set_service_parameters(const std::u16string& machine, const std::u16string& service,
                                             const std::u16string& path, const std::u16string& name,
                                             std::uint16_t level, nev::Nev_status& status) {
  const std::u16string key = nev::nev_reg_service_parameters_key(service);
  const nev::Nev_reg_connection connection(machine, nev::NEV_HKEY_LOCAL_MACHINE, status);
  const nev::Nev_hkey root = connection.get();
  if (status.ok()) {
    nev::nev_set_reg_string_value(root, key, u"", KOV_DIAG_PATH_VALUE, path, status);
  }
  if (status.ok()) {
    nev::nev_set_reg_string_value(root, key, u"", KOV_DIAG_NAME_VALUE, name, status);
  }
  if (status.ok()) {
    nev::nev_set_reg_uint_value(root, key, u"", KOV_DIAG_LEVEL_VALUE, level, status);
  }
  if (!status.ok()) push_failure(KOV_E_DIAG_WRITE, KOV_E_DIAG_WRITE_MACHINE, machine, service, status);
}

}  // namespace kov
