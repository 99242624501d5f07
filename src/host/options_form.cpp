#include "host/options_form.h"

#include "host/form.h"

namespace kymora {

bool AskOptions(Session& session) {
    Options& options = session.options;
    Form form("Options");
    form.AddFlag("cancelSelection", "Cancel Sel after action", options.cancelSelectionAfterAction != 0,
                 "A selected region is cancelled once an action has used it.");
    form.AddInteger("hitMargin", "Hit test margin (px)", options.hitMargin,
                    "How far the mouse may be from an event edge, a cursor or a marker and "
                    "still take hold of it.")
        .Limits(0, greatestHitMargin);
    form.AddRadio("channelMode", "Event channel ID", {"Use letters (max 26)", "Use numbers (max 999)"},
                  options.eventChannelMode == letterChannels ? 0 : 1,
                  "How event channels are named, and how many of them are offered.");
    form.AddInteger("bootstrapReps", "Bootstrap repetitions", options.bootstrapReps,
                    "How often bootstrap statistics draw a sample anew.")
        .Limits(1, greatestBootstrapReps)
        .Step(100);
    form.AddChoice("palette", "Colours of new traces and channels",
                   {"Classic", "Okabe and Ito (colour-blind safe)", "Even (colour-blind safe)"},
                   options.palette,
                   "For recordings that are opened from now on and bring no colours of their own.");
    form.AddInteger(
            "transformUndoShare", "Disk space for undo of transforms (%)", options.transformUndoShare,
            "How much of the free disk space recordings may take as they were before a transform, until "
            "they are closed. 0 keeps nothing: a transform then asks first.")
        .Limits(0, greatestUndoShare)
        .Step(10);
    form.AddText(
        "clusterCommand", "Clustering program", options.clusterCommand,
        "The command of a program that clusters in place of Kymora. It gets the name of a text file, a row "
        "of numbers in each line, and prints the cluster of each row, from 1.");
    if (!session.host.AskForm(form)) return false;
    options.cancelSelectionAfterAction = form.Flag("cancelSelection") ? 1 : 0;
    options.hitMargin = form.Integer("hitMargin");
    options.eventChannelMode = form.Choice("channelMode") == 0 ? letterChannels : maxEventChannels;
    session.numbersForSession = false;  // what the user has seen and accepted is kept
    options.bootstrapReps = form.Integer("bootstrapReps");
    options.clusterCommand = form.Text("clusterCommand");
    options.palette = form.Choice("palette");
    options.transformUndoShare = form.Integer("transformUndoShare");
    return true;
}

}  // namespace kymora
