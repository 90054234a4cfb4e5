/* A plug-in that loads but offers no entry point. */
int plugin_without_entry_point(void) { return 42; }
