/* ExitLate: a library that runs one action from its finaliser.
 * It depends on nothing but the C runtime and is linked after liborvgui, so the loader
 * initialises it before liborvgui and finalises it after: its action runs once the library's
 * statics have been destroyed. */
static void (*g_action)(void);

void SetLateAction(void (*action)(void)) { g_action = action; }

__attribute__((destructor)) static void RunLateAction(void) {
  if (g_action) g_action();
}
