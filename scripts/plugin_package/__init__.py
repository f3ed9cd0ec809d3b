"""Writing and checking the plug-in's distribution file (.xojo_plugin)."""
