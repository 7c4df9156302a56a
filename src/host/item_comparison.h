// What a calendar or a card in a mail says to people.
#pragma once

#include "host/body_comparison.h"

namespace nalvo::host {

// Of two mails that are items: when, where and what, for events and tasks; names, addresses and numbers of a card. An item
// is written anew with every trip, so its text says nothing by itself.
void compareItems(const MailPair& pair, Comparison& result);

// The same of a calendar or a card that was attached to the first mail of the pair and is the mail `item` now.
void compareAttachedItem(const std::string& where, const MailPair& pair, mime::HBODY handle, mime::IMimeMessage* item,
                         Comparison& result);

// Adds a warning when the item that is made of `mail` repeats on other dates than the mail tells: a recurrence pattern can't
// hold every series. Throws the stream's code.
void warnOfChangedSeries(IStream* mail, const HostContextPtr& context, std::vector<std::string>& warnings);

}  // namespace nalvo::host
