// The end of what a session is logged on to: by Disconnect, or with the session itself.
#pragma once

class CMAPIImpl;

// Ends what depends on the session, then logs off. What is not logged on is left alone.
void EndLogon(CMAPIImpl &session);
