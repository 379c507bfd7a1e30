#include "tv/front/Entry.h"

namespace front {

Entry Entry::From(const Object& object)
{
    return {.id = object.Number("id"),
            .at = object.Number("at"),
            .lane = object.Text("lane"),
            .kind = object.Text("kind"),
            .text = object.Text("text"),
            .subject = object.Text("subject"),
            .words = object.Text("words"),
            .how = object.Text("how"),
            .member = object.Text("member"),
            .signature = object.Text("signature"),
            .body = object.Text("body"),
            .query = object.Truth("query")};
}

} // namespace front
