#include "crowd/Person.h"

namespace crowd {

namespace {

constexpr double kPayers = 0.03;
constexpr double kWhales = 0.1;  // of the payers
constexpr double kSpendingOfPayer = 0.02;
constexpr double kSpendingOfWhale = 0.15;

constexpr std::string_view kClasses[] = {"ninja", "wizard", "knight"};
constexpr std::string_view kVariants[] = {"a", "b"};

void choosePlatform(Person& person, Random& random) {
  person.platform = &random.weighted(platforms());
  person.country = &random.weighted(countries());
  person.device = person.platform->devices[random.chance(0.7) ? 0 : 1];
}

// The vendor's identifier is the player's where there is one; the advertising one comes with consent only.
void identify(Person& person, Random& random) {
  person.userId = random.uuid();
  if (person.platform->name != "ios") return;
  person.idfv = person.userId;
  person.trackingStatus = random.chance(0.3) ? "authorized" : random.chance(0.8) ? "denied" : "not_determined";
  if (person.trackingStatus == "authorized") person.idfa = random.uuid();
}

}  // namespace

Person makePerson(std::uint32_t number, Random& random) {
  Person person;
  person.number = number;
  choosePlatform(person, random);
  identify(person, random);
  person.ownVariant = random.oneOf(kVariants);
  person.skill = random.normal() * 0.08;
  person.devotion = random.uniform();
  if (random.chance(kPayers)) person.spending = random.chance(kWhales) ? kSpendingOfWhale : kSpendingOfPayer;
  person.dimensions = {random.oneOf(kClasses), random.chance(0.4) ? "guild" : "",
                       person.spending > 0 ? "spender" : "free"};
  return person;
}

}  // namespace crowd
