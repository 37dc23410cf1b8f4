// The plug-in interface: what a plug-in library implements and exports.
//
// A plug-in library offers objects of one or more types, each named by a
// type identifier (_GUID). It exports two entry points by their plain names:
//
//   extern "C" GAN_EXPORT gan::Gan_factory* gan_get_factory(const char16_t* plugin_name, const _GUID& type);
//   extern "C" GAN_EXPORT bool gan_can_unload_now();
//
// gan_get_factory gives a factory for `type`, or null when the library does
// not offer it; the factory belongs to the library and is never released by
// the host. Its create_instance makes a new object derived from Gan_base, or
// gives null. The host ends each object through Gan_base::deallocate.
// gan_can_unload_now answers true only while none of the library's objects is
// alive; the host unloads the library only on that word.
//
// Threads and the host's lock: the host calls gan_get_factory,
// Gan_factory::create_instance and gan_can_unload_now with its one plug-in
// lock held (a recursive lock: the same thread may take it again), so these
// never run at the same time, whatever thread asks. Inside them a plug-in
// may create further plug-ins through kov_plugin_create_instance (the lock
// is taken again by the same thread); it must not wait for another thread
// that creates plug-ins or tidies, which would wait for this lock.
// Gan_base::deallocate and every other member of a created object run
// without the lock, on whatever thread the caller uses, so an object guards
// its own state and the library counts its live objects atomically. A thread
// that ends the last object still runs library code until deallocate
// returns: a program that tidies beside object endings keeps the two apart
// (see kov/plugin.h).
//
// Plug-ins are built with the same compiler as the host: the classes below
// are called through their virtual tables.
#pragma once

#include "gan/export.h"
#include "nev/types.h"

namespace gan {

// Base of every object a plug-in creates.
class Gan_base {
 public:
  // The object's type identifier.
  virtual const _GUID& type() const = 0;
  // The interface version the object implements (major in the high 16 bits).
  virtual unsigned interface_version() const = 0;
  // The implementation version.
  virtual unsigned implementation_version() const = 0;
  // The plug-in's name for the object's kind, for people.
  virtual const char16_t* description() const = 0;
  // Ends the object; the pointer is not used afterwards.
  virtual void deallocate() = 0;

 protected:
  // Objects are ended through deallocate(), never deleted by the host.
  ~Gan_base() = default;
};

// Makes objects of one type.
class Gan_factory {
 public:
  // The type identifier of the objects this factory makes.
  virtual const _GUID& type() const = 0;
  // The interface version of those objects.
  virtual unsigned interface_version() const = 0;
  // The implementation version of those objects.
  virtual unsigned implementation_version() const = 0;
  // A new object, owned by the caller until it calls deallocate(); null when
  // none could be made.
  virtual Gan_base* create_instance() = 0;

 protected:
  ~Gan_factory() = default;
};

}  // namespace gan

// Signatures of the two entry points.
extern "C" {
typedef gan::Gan_factory* (*Gan_get_factory_fn)(const char16_t* plugin_name, const _GUID& type);
typedef bool (*Gan_can_unload_now_fn)();
}
