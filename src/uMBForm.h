#pragma once
// uMBForm: the component classes of this package, for form files.

#include <vector>

#include "platform/model/uComponentClass.h"

namespace OrvixModBus {

/// Every component class that a form may hold, and TDataModule for its root:
///
///   TFormFile form;
///   form.RegisterClasses(ModBusClasses());
///   const auto plant = form.ReadFile("plant.form");
///   auto& pumps = FormComponent<TMBLetter>(*plant, "Pumps");
const std::vector<TComponentClass>& ModBusClasses();

}  // namespace OrvixModBus
