// Whether the server makes itself known. The "/rpc" page switches it, discovery obeys it.
#pragma once

enum class AnnouncementMode : int { announcing = 1, silent = 2 };

AnnouncementMode announcement_mode();
void set_announcement_mode(AnnouncementMode mode);
