#pragma once

class MorvaneEditor;

// Thread entry behind the editor's OK button on the connection page. It reads the processor's
// objects through the editor at its start, so the editor must outlive that first step: the
// editor joins the thread before it goes (the search ends within seconds, and within a
// tenth of a second of quitRequested).
void delegatorFindDeviceFromEditor(MorvaneEditor* editor);
