#pragma once

/// The library as a component of the platform's runtime-component model, for clients that reach it
/// through `dlsym` and tables of functions instead of the C++ classes.
///
/// Interfaces are tables of functions in the C++ calling convention, in the order in which they are
/// declared; their names and identifiers are the platform's. Every function returns an HRESULT,
/// throws nothing and may be called from any thread. A result is written through the last
/// parameter, which must not be null, and belongs to the caller: interfaces are given back with
/// `Release`, strings with `DeleteString`, arrays with `free`. Parameters are the caller's and need
/// to live only until the function returns.

#include "veltro/activation/analytics.h"
#include "veltro/activation/async.h"
#include "veltro/activation/audience_manager.h"
#include "veltro/activation/basics.h"
#include "veltro/activation/collections.h"
#include "veltro/activation/config.h"
#include "veltro/activation/media.h"
#include "veltro/activation/objects.h"
#include "veltro/activation/strings.h"
#include "veltro/activation/target.h"
#include "veltro/activation/values.h"
#include "veltro/export.h"

extern "C" {

/// A new reference to the factory of the class `className`; kClassNotRegistered and null for a name
/// that is none of these. That of "Veltro.Analytics", "Veltro.AudienceManager", "Veltro.Config",
/// "Veltro.Media" and "Veltro.Target" also is the class's statics interface and makes no instances;
/// that of "Veltro.MediaSettings" and "Veltro.TargetLocationRequest" makes fresh ones.
VELTRO_EXPORT Veltro::Abi::HRESULT DllGetActivationFactory(
    Veltro::Abi::HSTRING className, Veltro::Abi::IActivationFactory** factory) noexcept;

/// kOk while no object of the library is in use, else kFalse.
VELTRO_EXPORT Veltro::Abi::HRESULT DllCanUnloadNow() noexcept;

}  // extern "C"
