// VTIMEZONE, there and back.
#include <utility>

#include "mail/n_time_zone.h"
#include "mail/v_component.h"
#include "mail/v_text.h"
#include "platform/text/text.h"

namespace nalvo::mail {

NTimeZone::NTimeZone(const Component& component) {
  if (!equalsIgnoreCase(component.name, "VTIMEZONE")) {
    return;
  }
  Component source = component;
  source.dropEmptyValues();
  id_ = source.getPropertyText("TZID");
  url_ = source.getPropertyText("TZURL");
  lastModified_ = DateTime::parse(source.getPropertyText("LAST-MOD"));
  std::vector<Observance> observances;
  for (Component& child : source.children) {
    observances.push_back(readObservance(std::move(child)));
  }
  setObservances(std::move(observances));
  source.children.clear();
  source_ = std::make_shared<const Component>(std::move(source));
}

Component NTimeZone::toComponent() const {
  Component component = source_ ? *source_ : Component();
  component.name = "VTIMEZONE";
  component.children.clear();
  component.setPropertyText("TZID", id_);
  component.setPropertyText("TZURL", url_);
  component.addProperty("LAST-MOD").firstValueForWrite().setDateTime(lastModified_);
  for (const Observance& observance : observances_) {
    component.children.push_back(mail::toComponent(observance));
  }
  return component;
}

}  // namespace nalvo::mail
