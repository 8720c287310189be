// Ctrl-C and its relatives: asked for, never obeyed at once, so that a command can put away what it has begun.
//
// Threads: any thread may ask.
#ifndef TOOLS_KTWT_INTERRUPT_H
#define TOOLS_KTWT_INTERRUPT_H

// From here on the first SIGINT, SIGTERM or SIGHUP only makes interrupted() true and ends a waiting read; the next one ends the
// program. Those that whoever started the program had it ignore, as nohup does, stay ignored. SIGPIPE and SIGXFSZ are ignored:
// a write that nobody reads, or into a file that may not grow any more, fails instead.
void catchInterrupts();

bool interrupted();

#endif
