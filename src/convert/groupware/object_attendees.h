// Who takes part in an appointment or a task: between recipients, sender properties and attendees.
//
// A recipient travels as an attendee whose answer is asked for (RSVP). Those who are no recipients stand in three texts of
// the item, PidLidNonSendableTo and its kin, and travel as attendees without.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "frame/conversion_state.h"
#include "mail/v_event.h"
#include "mail/v_todo.h"
#include "platform/com/com_ptr.h"

namespace nalvo::ObjectAttendees {

struct Person {
  std::u16string name;
  std::u16string address;  // of SMTP; empty for any other
};

// One who takes part by mail.
mail::Attendee attendeeOf(const Person& person);
// The name, or the address of one without.
const std::string& displayName(const mail::Attendee& person);

// Replaces the attendees, and of an event the organizer, by those of the message.
// Throws E_INVALIDARG for a recipient that is none.
void createAttendees(ConvertorDataMessage& data, mail::VEvent& object);
void createAttendees(ConvertorDataMessage& data, mail::VTodo& object);

// Makes recipients of the attendees, and of the organizer of an event sender and recipient.
void parseAttendees(ConvertorDataMessage& data, const mail::VEvent& object);
void parseAttendees(ConvertorDataMessage& data, const mail::VTodo& object);

// The recipients of a message. E_INVALIDARG, told of the function `where`, for one that is none.
std::vector<ComPtr<IConvertRecipient>> recipientsOf(IConvertMessage* message, const char* where);

// The sender of the message if it has one with name and address; else, of the second, the owner of the mailbox.
std::optional<Person> ownSender(IConvertMessage* message, IMapiAllocator* allocator);
Person getSender(IConvertMessage* message, IMapiAllocator* allocator);
Person getMailboxOwner(IConvertMessage* message, IMapiAllocator* allocator);

// One recipient. Throws E_INVALIDARG for null, and an organizer E_UNEXPECTED for a recipient that isn't addressed directly.
mail::Attendee createAttendeeFromRecipient(IConvertRecipient* recipient, IMapiAllocator* allocator);
mail::Attendee createOrganizerFromRecipient(IConvertRecipient* recipient, IMapiAllocator* allocator);

// A new recipient with role, answer and sent mark of `attendee`; none without name and address. The answer travels back.
void addRsvpAttendee(ConvertorDataMessage& data, const mail::Attendee& attendee);

// The sender of the message: its author if that is another one than `person`, who is represented. Does nothing for one
// without name and address.
void fillSenderProperties(ConvertorDataMessage& data, const mail::Attendee& person);
// Whose mailbox the message lies in, if that is known and the message does not say it.
void fillReceivedByProperties(ConvertorDataMessage& data);

}  // namespace nalvo::ObjectAttendees
